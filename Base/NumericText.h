#pragma once

#include <string_view>

namespace corvane {

/// Returns true if two strings are equal when each run of decimal digits is compared by its value
/// and every other character exactly: "01" equals "1", "a007" equals "a7", but "1.0" and "1 " do
/// not equal "1". Digits are ASCII only; runs may have any length, because no number is computed.
bool numericallyEqual(std::string_view left, std::string_view right);

}  // namespace corvane
