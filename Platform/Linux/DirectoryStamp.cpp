#include "Platform/Linux/DirectoryStamp.h"

#include <sys/stat.h>

#include <chrono>

#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

/// Longer than a tick of the clock from which the system takes file times (1 to 10 ms).
constexpr std::chrono::milliseconds settling{50};

/// For file systems that store whole seconds, or only even ones.
constexpr std::chrono::milliseconds settlingOfWholeSeconds{3000};

std::chrono::nanoseconds sinceEpoch(const std::timespec& time) {
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

DirectoryStamp::DirectoryStamp(const OwnedDescriptor& directory) {
  struct stat status = {};
  std::timespec now = {};
  if (systemCalls().fstat(directory.number(), &status) != 0 ||
      linuxCalls().clockGettime(CLOCK_REALTIME_COARSE, &now) != 0)
    return;
  modified_ = status.st_mtim;
  isSettled_ = sinceEpoch(now) - sinceEpoch(modified_) >=
               (modified_.tv_nsec == 0 ? settlingOfWholeSeconds : settling);
}

bool DirectoryStamp::holdsFor(const OwnedDescriptor& directory) const {
  struct stat status = {};
  return isSettled_ && systemCalls().fstat(directory.number(), &status) == 0 &&
         status.st_nlink > 0 && status.st_mtim.tv_sec == modified_.tv_sec &&
         status.st_mtim.tv_nsec == modified_.tv_nsec;
}

}  // namespace corvane::Platform
