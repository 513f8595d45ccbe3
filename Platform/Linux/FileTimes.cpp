#include "Platform/Posix/FileTimes.h"

namespace corvane::Platform {

std::timespec changeTimeIn(const struct stat& status) {
  return status.st_mtim;
}

}  // namespace corvane::Platform
