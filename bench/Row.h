#pragma once

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace corvane::bench {

/// The middle one of `values`, of which there must be one; the upper one of two.
inline double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Prints a row for the table of scripts/bench, tabs between: what was measured, then the medians
/// of our times and of the floor's, in microseconds.
inline void printRow(const std::string& name, const std::vector<double>& ours,
                     const std::vector<double>& floor) {
  std::printf("%s\t%.3f\t%.3f\n", name.c_str(), median(ours), median(floor));
}

}  // namespace corvane::bench
