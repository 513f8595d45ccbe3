#include "tools/corvane-main-app/EndSignals.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>

#include "Platform/Descriptor.h"

namespace corvane::MainApp {
namespace {

/// The end of a pipe into which the signal handler writes; set before the handler is.
int signalEnd = -1;

void tellOfSignal(int) {
  const int error = errno;
  [[maybe_unused]] const ssize_t written = ::write(signalEnd, "", 1);
  errno = error;
}

bool handleSignals() {
  struct sigaction action = {};
  action.sa_handler = tellOfSignal;
  action.sa_flags = SA_RESTART;
  return ::sigaction(SIGTERM, &action, nullptr) == 0 && ::sigaction(SIGINT, &action, nullptr) == 0;
}

}  // namespace

bool EndSignals::start() {
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  signalEnd = ends[1];
  readable_ = loop_.onReadable(ends[0], [this, signals = ends[0]] {
    std::array<std::byte, 16> bytes{};
    const auto count = Platform::Descriptor::read(signals, bytes);
    if (count && count.value() > 0) handler_();
  });
  return handleSignals();
}

}  // namespace corvane::MainApp
