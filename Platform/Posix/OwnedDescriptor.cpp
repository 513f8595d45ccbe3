#include "Platform/OwnedDescriptor.h"

#include <fcntl.h>

#include <cerrno>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {

OwnedDescriptor::~OwnedDescriptor() {
  // Not repeated after EINTR: the number may already be that of a file that another thread opened.
  if (number_ >= 0) systemCalls().close(number_);
}

Result<OwnedDescriptor> openAt(int directory, const std::string& path, int flags, mode_t mode) {
  for (;;) {
    const int opened = systemCalls().openat(directory, path.c_str(), flags | O_CLOEXEC, mode);
    if (opened >= 0) return OwnedDescriptor(opened);
    if (errno != EINTR) return failureFromErrno("open", path);
  }
}

}  // namespace corvane::Platform
