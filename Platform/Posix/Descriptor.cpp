#include "Platform/Descriptor.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::Descriptor {
namespace {

/// Returns true if a call that failed with `error` should be repeated; waits until `descriptor` is
/// ready first if that was the reason.
bool mayRepeat(int error, int descriptor, short event) {
  if (error == EINTR) return true;
  if (error != EAGAIN && error != EWOULDBLOCK) return false;
  pollfd ready{descriptor, event, 0};
  systemCalls().poll(&ready, 1, -1);
  return true;
}

}  // namespace

Result<std::size_t> read(int descriptor, std::span<std::byte> bytes) {
  ssize_t count = 0;
  do {
    count = systemCalls().read(descriptor, bytes.data(), bytes.size());
  } while (count < 0 && errno == EINTR);
  if (count < 0) return failureFromErrno("read");
  return static_cast<std::size_t>(count);
}

Result<std::size_t> readSome(int descriptor, std::span<std::byte> bytes) {
  for (;;) {
    const ssize_t count = systemCalls().read(descriptor, bytes.data(), bytes.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    const int error = errno;
    if (!mayRepeat(error, descriptor, POLLIN)) return failureFrom(error, "read");
  }
}

bool isHungUp(int descriptor) {
  pollfd pipe{descriptor, POLLIN | POLLHUP, 0};  // macOS reports only requested events
  return systemCalls().poll(&pipe, 1, 0) == 1 && (pipe.revents & POLLHUP) != 0;
}

Result<Done> writeAll(int descriptor, ByteView bytes) {
  while (!bytes.empty()) {
    const ssize_t count = systemCalls().write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
      continue;
    }
    const int error = errno;
    if (!mayRepeat(error, descriptor, POLLOUT)) return failureFrom(error, "write");
  }
  return Done{};
}

}  // namespace corvane::Platform::Descriptor
