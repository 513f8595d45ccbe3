#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace corvane::Platform {

/// The longest name of a notification, in bytes.
inline constexpr std::size_t longestNotificationName = 200;

/// Whether `name` can name a notification on every system: 1 to 200 bytes, no "/" or zero byte, no
/// "." in front.
constexpr bool isNotificationName(std::string_view name) {
  return !name.empty() && name.size() <= longestNotificationName && name.front() != '.' &&
         std::none_of(name.begin(), name.end(), [](char one) { return one == '/' || one == '\0'; });
}

}  // namespace corvane::Platform
