#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace corvane::MainApp {

/// Takes the first word off `text`, and the blank behind it; "" when there is none.
inline std::string_view takeWord(std::string_view& text) {
  const std::string_view word = text.substr(0, text.find(' '));
  text.remove_prefix(std::min(word.size() + 1, text.size()));
  return word;
}

/// The decimal integer that `text` is as a whole, or nothing.
inline std::optional<std::int64_t> integerFrom(std::string_view text) {
  std::int64_t integer = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, integer);
  if (error != std::errc() || stop != end) return std::nullopt;
  return integer;
}

}  // namespace corvane::MainApp
