#include "Platform/Posix/FileTimes.h"

namespace corvane::Platform {

std::chrono::system_clock::time_point changeTime(const struct stat& status) {
  using Clock = std::chrono::system_clock;
  return Clock::time_point(std::chrono::duration_cast<Clock::duration>(
      std::chrono::seconds(status.st_mtimespec.tv_sec) +
      std::chrono::nanoseconds(status.st_mtimespec.tv_nsec)));
}

}  // namespace corvane::Platform
