#include "tools/corvane-main-app/ControlInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

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

}  // namespace

bool ControlInput::start(int descriptor) {
  int ends[2] = {-1, -1};
  if (::pipe(ends) != 0) return false;
  for (const int end : ends) ::fcntl(end, F_SETFD, FD_CLOEXEC);
  ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
  signalEnd = ends[1];
  signals_ = loop_.onReadable(ends[0], [this, signals = ends[0]] {
    std::array<char, 16> bytes{};
    if (::read(signals, bytes.data(), bytes.size()) > 0) handlers_.signal();
  });
  lines_ = loop_.onReadable(descriptor, [this, descriptor] { readLines(descriptor); });
  return handleSignals();
}

void ControlInput::readLines(int descriptor) {
  std::array<char, 4096> piece{};
  const ssize_t count = ::read(descriptor, piece.data(), piece.size());
  if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (count > 0) {
    text_.append(piece.data(), static_cast<std::size_t>(count));
    takeLines(text_, handlers_.line);
  } else {
    lines_ = {};
    handlers_.end();
  }
}

bool isHeldBySomebody(int descriptor) {
  struct stat status = {};
  if (::fstat(descriptor, &status) != 0) return false;
  return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || ::isatty(descriptor) != 0;
}

}  // namespace corvane::MainApp
