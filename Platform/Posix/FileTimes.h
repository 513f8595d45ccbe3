#pragma once

#include <sys/stat.h>

#include <chrono>
#include <ctime>

namespace corvane::Platform {

/// The time of the last change of the content in `status` (its mtime). The name of the member
/// differs between systems.
timespec changeTimeIn(const struct stat& status);

/// The same as a time of day, cut to the resolution of that clock.
inline std::chrono::system_clock::time_point changeTime(const struct stat& status) {
  using Clock = std::chrono::system_clock;
  const timespec time = changeTimeIn(status);
  return Clock::time_point(std::chrono::duration_cast<Clock::duration>(
      std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)));
}

}  // namespace corvane::Platform
