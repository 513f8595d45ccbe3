#pragma once

#include <string_view>

namespace corvane {

/// Whether two texts are equal when each run of decimal digits counts by its value, the rest
/// character by character, over their whole length: "01" equals "1", "a007" equals "a7"; "1.0" and
/// "1 " do not equal "1". Runs may be of any length.
bool numericallyEqual(std::string_view left, std::string_view right);

}  // namespace corvane
