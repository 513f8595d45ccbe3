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

/// What was measured of one subject and of its floor, a value of each for every round; a subject
/// without a floor leaves that empty.
struct Rounds {
  std::vector<double> ours;
  std::vector<double> floor;
};

/// Prints a row for the table of scripts/bench, tabs between: what was measured, its unit, our
/// values and the floor's, spaces between.
inline void printRow(const std::string& name, const char* unit, const Rounds& rounds) {
  std::printf("%s\t%s\t", name.c_str(), unit);
  for (const double value : rounds.ours) std::printf("%.6g ", value);
  std::printf("\t");
  for (const double value : rounds.floor) std::printf("%.6g ", value);
  std::printf("\n");
}

}  // namespace corvane::bench
