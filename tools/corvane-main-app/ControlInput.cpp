#include "tools/corvane-main-app/ControlInput.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "Platform/Threads.h"

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

/// Calls `line` for each whole line in `text`, and leaves the rest in it.
void takeLines(std::string& text, UniqueFunction<void(std::string)>& line) {
  std::size_t begin = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    line(text.substr(begin, end - begin));
    begin = end + 1;
  }
  text.erase(0, begin);
}

/// What the thread does. A descriptor below zero is one that `poll` passes over.
[[noreturn]] void readFor(int descriptor, int signals, ControlInput input) {
  Platform::nameThisThread("control");
  std::array<char, 4096> piece{};
  std::string text;
  pollfd sources[] = {{descriptor, POLLIN, 0}, {signals, POLLIN, 0}};
  for (;;) {
    if (::poll(sources, 2, -1) < 0) continue;
    if (sources[1].revents != 0) {
      if (::read(signals, piece.data(), piece.size()) > 0) input.signal();
    }
    if (sources[0].revents == 0) continue;
    const ssize_t count = ::read(descriptor, piece.data(), piece.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count > 0) {
      text.append(piece.data(), static_cast<std::size_t>(count));
      takeLines(text, input.line);
    } else {
      sources[0].fd = -1;
      input.end();
    }
  }
}

}  // namespace

bool ControlInput::start(int descriptor, ControlInput input) {
  int ends[2] = {-1, -1};
  if (::pipe(ends) != 0) return false;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
  signalEnd = ends[1];
  try {
    std::thread(readFor, descriptor, ends[0], std::move(input)).detach();
  } catch (const std::system_error&) {
    return false;
  }
  return handleSignals();
}

bool isHeldBySomebody(int descriptor) {
  struct stat status = {};
  if (::fstat(descriptor, &status) != 0) return false;
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || ::isatty(descriptor) != 0;
}

}  // namespace corvane::MainApp
