#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace corvane::testing {

/// One frame of the conversation with the browser.
inline std::string frameOf(std::string_view body) {
  const auto length = static_cast<std::uint32_t>(body.size());
  std::string frame(sizeof length, '\0');
  std::memcpy(frame.data(), &length, sizeof length);
  return frame += body;
}

/// The bodies of the frames in `bytes`, and "?" for a last one that is cut short.
inline std::vector<std::string> bodiesIn(std::string_view bytes) {
  std::vector<std::string> bodies;
  while (!bytes.empty()) {
    std::uint32_t length = 0;
    if (bytes.size() >= sizeof length) std::memcpy(&length, bytes.data(), sizeof length);
    const bool isWhole = bytes.size() - sizeof length >= length && bytes.size() >= sizeof length;
    bodies.emplace_back(isWhole ? bytes.substr(sizeof length, length) : "?");
    bytes = isWhole ? bytes.substr(sizeof length + length) : "";
  }
  return bodies;
}

}  // namespace corvane::testing
