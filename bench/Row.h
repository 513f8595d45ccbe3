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

/// The values measured of one subject and of what it is compared with (its floor, or another
/// build's host), one of each for every round. `other` is empty if there is nothing to compare
/// with.
struct Rounds {
  std::vector<double> ours;
  std::vector<double> other;
};

/// Prints a row for the table of scripts/bench, tabs between: what was measured, its unit, our
/// values and the other ones, spaces between.
inline void printRow(const std::string& name, const char* unit, const Rounds& rounds) {
  std::printf("%s\t%s\t", name.c_str(), unit);
  for (const double value : rounds.ours) std::printf("%.6g ", value);
  std::printf("\t");
  for (const double value : rounds.other) std::printf("%.6g ", value);
  std::printf("\n");
}

}  // namespace corvane::bench
