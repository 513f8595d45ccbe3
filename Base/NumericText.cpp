#include "Base/NumericText.h"

#include <algorithm>
#include <cstddef>

namespace corvane {
namespace {

/// Removes the digits at the front of `text` and returns them without leading zeros.
std::string_view takeDigits(std::string_view& text) {
  const std::size_t length = std::min(text.find_first_not_of("0123456789"), text.size());
  std::string_view run = text.substr(0, length);
  text.remove_prefix(length);
  run.remove_prefix(std::min(run.find_first_not_of('0'), run.size()));
  return run;
}

bool startsWithDigit(std::string_view text) {
  return !text.empty() && text.front() >= '0' && text.front() <= '9';
}

}  // namespace

bool numericallyEqual(std::string_view left, std::string_view right) {
  while (!left.empty() && !right.empty()) {
    if (startsWithDigit(left) && startsWithDigit(right)) {
      if (takeDigits(left) != takeDigits(right)) return false;
    } else {
      if (left.front() != right.front()) return false;
      left.remove_prefix(1);
      right.remove_prefix(1);
    }
  }
  return left.empty() && right.empty();
}

}  // namespace corvane
