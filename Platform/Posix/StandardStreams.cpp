#include "Platform/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

bool isOpen(int descriptor) {
  return systemCalls().fcntl(descriptor, F_GETFD, 0) >= 0 || errno != EBADF;
}

/// Makes `number` refer to what `descriptor` does.
Result<Done> redirect(int descriptor, int number) {
  while (systemCalls().dup2(descriptor, number) < 0)
    if (errno != EINTR) return failureFromErrno("dup2");
  return Done{};
}

}  // namespace

Result<Done> fillStandardStreams() {
  if (isOpen(STDIN_FILENO) && isOpen(STDOUT_FILENO) && isOpen(STDERR_FILENO)) return Done{};
  int filler = 0;
  do {  // each takes the lowest free descriptor
    filler = systemCalls().open("/dev/null", O_RDWR);
    if (filler < 0 && errno != EINTR) return failureFromErrno("open /dev/null");
  } while (filler <= STDERR_FILENO);
  systemCalls().close(filler);
  return Done{};
}

Result<BrowserDescriptors> claimStandardStreams() {
  if (const auto filled = fillStandardStreams(); !filled) return filled.failure();
  const int output = systemCalls().fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (output < 0) return failureFromErrno("dup");
  if (const auto moved = redirect(STDERR_FILENO, STDOUT_FILENO); !moved) return moved.failure();
  return BrowserDescriptors{STDIN_FILENO, output};
}

void ignoreSignalsOfWrites() {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace corvane::Platform
