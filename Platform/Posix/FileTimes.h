#pragma once

#include <sys/stat.h>

#include <chrono>
#include <ctime>

namespace corvane::Platform {

/// The time of the last write in `status`; the member has another name on each system.
timespec changeTimeIn(const struct stat& status);

/// The same on the system's clock.
inline std::chrono::system_clock::time_point changeTime(const struct stat& status) {
  using Clock = std::chrono::system_clock;
  const timespec time = changeTimeIn(status);
  return Clock::time_point(std::chrono::duration_cast<Clock::duration>(
      std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec)));
}

}  // namespace corvane::Platform
