#include "tools/corvane-nmctl/Waking.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

#include "Platform/File.h"

namespace corvane::Nmctl::Waking {
namespace {

// A pipe that never fills, as nobody waits to write into it; -1 before `begin`.
std::atomic<int> readingEnd = -1;
std::atomic<int> writingEnd = -1;
std::atomic<bool> interrupted = false;

void interrupt(int) {
  const int error = errno;
  interrupted = true;
  wake();
  errno = error;
}

}  // namespace

Result<int> begin() {
  std::array<int, 2> ends{};
  if (::pipe(ends.data()) != 0) return Platform::failureFromErrno("pipe");
  for (const int end : ends) {
    ::fcntl(end, F_SETFD, FD_CLOEXEC);
    ::fcntl(end, F_SETFL, O_NONBLOCK);
  }
  readingEnd = ends[0];
  writingEnd = ends[1];
  struct sigaction action = {};
  action.sa_handler = interrupt;
  action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);  // unsigned on Linux
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    if (::sigaction(signal, &action, nullptr) != 0) return Platform::failureFromErrno("sigaction");
  return ends[0];
}

void wake() {
  if (const int end = writingEnd; end >= 0) (void)!::write(end, "", 1);
}

void settle() {
  std::array<char, 512> bytes{};
  while (::read(readingEnd, bytes.data(), bytes.size()) > 0) continue;
}

bool isInterrupted() {
  return interrupted;
}

}  // namespace corvane::Nmctl::Waking
