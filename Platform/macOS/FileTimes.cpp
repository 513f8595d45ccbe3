#include "Platform/Posix/FileTimes.h"

namespace corvane::Platform {

timespec changeTimeIn(const struct stat& status) {
  return status.st_mtimespec;
}

}  // namespace corvane::Platform
