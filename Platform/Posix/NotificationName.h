#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace corvane::Platform {

/// The maximum length in bytes of the name of a notification.
inline constexpr std::size_t longestNotificationName = 200;

/// Returns true if `name` can be the name of a notification on every system: 1 to 200 bytes, no "/"
/// or zero byte, no "." in front. On Linux it is also the name of a directory.
constexpr bool isNotificationName(std::string_view name) {
  return !name.empty() && name.size() <= longestNotificationName && name.front() != '.' &&
         std::none_of(name.begin(), name.end(), [](char one) { return one == '/' || one == '\0'; });
}

}  // namespace corvane::Platform
