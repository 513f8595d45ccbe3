#include "Platform/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

#include "Platform/SystemCalls.h"

namespace corvane::Platform {

namespace {

bool isOpen(int descriptor) {
  return systemCalls().fcntl(descriptor, F_GETFD, 0) >= 0;
}

}  // namespace

bool fillStandardStreams() {
  if (isOpen(STDIN_FILENO) && isOpen(STDOUT_FILENO) && isOpen(STDERR_FILENO)) return true;
  int filler = 0;
  do {  // each takes the lowest free descriptor
    filler = systemCalls().open("/dev/null", O_RDWR);
    if (filler < 0) return false;
  } while (filler <= STDERR_FILENO);
  systemCalls().close(filler);
  return true;
}

std::optional<BrowserDescriptors> claimStandardStreams() {
  if (!fillStandardStreams()) return std::nullopt;

  const int output = systemCalls().fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (output < 0 || systemCalls().dup2(STDERR_FILENO, STDOUT_FILENO) < 0) return std::nullopt;
  return BrowserDescriptors{STDIN_FILENO, output};
}

void ignoreSignalsOfWrites() {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace corvane::Platform
