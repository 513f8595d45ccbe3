#include "Platform/Descriptor.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "Platform/File.h"

namespace corvane::Platform::Descriptor {
namespace {

/// After a failed call: true when it is worth repeating, if need be after `descriptor` has become
/// ready.
bool mayRepeat(int descriptor, short event) {
  if (errno == EINTR) return true;
  if (errno != EAGAIN && errno != EWOULDBLOCK) return false;
  pollfd ready{descriptor, event, 0};
  return ::poll(&ready, 1, -1) > 0 || errno == EINTR;
}

}  // namespace

Result<std::size_t> readSome(int descriptor, std::span<std::byte> bytes) {
  for (;;) {
    const ssize_t count = ::read(descriptor, bytes.data(), bytes.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (!mayRepeat(descriptor, POLLIN)) return failureFromErrno("read");
  }
}

Result<Done> writeAll(int descriptor, ByteView bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    } else if (!mayRepeat(descriptor, POLLOUT)) {
      return failureFromErrno("write");
    }
  }
  return Done{};
}

bool hasInput(int descriptor) {
  pollfd input = {descriptor, POLLIN, 0};
  return ::poll(&input, 1, 0) == 1;
}

bool isPipe(int descriptor) {
  struct stat status = {};
  return ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
}

bool takesAtOnce(int pipe, std::size_t size) {
  // A pipe with room has it for PIPE_BUF bytes, however they are cut.
  pollfd room = {pipe, POLLOUT, 0};
  return size <= PIPE_BUF && ::poll(&room, 1, 0) == 1 && room.revents == POLLOUT;
}

}  // namespace corvane::Platform::Descriptor
