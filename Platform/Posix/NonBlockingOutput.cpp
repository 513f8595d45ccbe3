#include "Platform/NonBlockingOutput.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "Platform/File.h"
#include "Platform/Posix/PipeOpening.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

/// Writes at most PIPE_BUF bytes: a blocking pipe that polls as writable has room for so many.
ssize_t writeWhatSurelyFits(int descriptor, ByteView bytes) {
  pollfd room = {descriptor, POLLOUT, 0};
  const int ready = systemCalls().poll(&room, 1, 0);
  if (ready == 0) errno = EAGAIN;
  if (ready <= 0) return -1;
  return systemCalls().write(descriptor, bytes.data(),
                             std::min<std::size_t>(bytes.size(), PIPE_BUF));
}

}  // namespace

NonBlockingOutput::NonBlockingOutput(int descriptor) : given_(descriptor) {
  struct stat status = {};
  if (systemCalls().fstat(descriptor, &status) != 0) return;
  if (S_ISREG(status.st_mode)) kind_ = Kind::regularFile;
  if (S_ISSOCK(status.st_mode)) kind_ = Kind::socket;
  if (S_ISFIFO(status.st_mode)) own_ = openPipeForWriting(descriptor);
}

NonBlockingOutput::~NonBlockingOutput() {
  if (own_ >= 0) systemCalls().close(own_);
}

Result<std::size_t> NonBlockingOutput::write(ByteView bytes) {
  for (;;) {
    ssize_t count = 0;
    if (own_ >= 0) {
      count = systemCalls().write(own_, bytes.data(), bytes.size());
    } else if (kind_ == Kind::socket) {
      count = systemCalls().send(given_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    } else if (kind_ == Kind::regularFile) {
      count = systemCalls().write(given_, bytes.data(), bytes.size());
    } else {
      count = writeWhatSurelyFits(given_, bytes);
    }
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == ENOMEM || errno == ENOBUFS)
      return std::size_t{0};
    if (errno != EINTR) return failureFromErrno("write");
  }
}

}  // namespace corvane::Platform
