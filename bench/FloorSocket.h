#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace corvane::bench {

/// The floor of a notification: one datagram to a socket with a name in the file system.
class FloorSocket {
 public:
  explicit FloorSocket(const std::string& path)
      : descriptor_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    address_.sun_family = AF_UNIX;
    const bool fits = path.size() < sizeof address_.sun_path;
    if (fits) path.copy(address_.sun_path, path.size());
    if (!fits || ::bind(descriptor_, address(), sizeof address_) != 0) stop("bind");
  }
  ~FloorSocket() { ::close(descriptor_); }
  FloorSocket(const FloorSocket&) = delete;
  FloorSocket& operator=(const FloorSocket&) = delete;

  void sendTo(const FloorSocket& other) const {
    if (::sendto(descriptor_, "x", 1, 0, other.address(), sizeof address_) != 1) stop("sendto");
  }

  /// Waits for the next datagram; false after `close`.
  bool receive() const {
    char byte = 0;
    return ::recv(descriptor_, &byte, sizeof byte, 0) > 0;
  }

  /// Ends a `receive` that waits, and all later ones.
  void close() const { ::shutdown(descriptor_, SHUT_RDWR); }

 private:
  [[nodiscard]] const sockaddr* address() const {
    return reinterpret_cast<const sockaddr*>(&address_);
  }
  [[noreturn]] static void stop(const char* what) {
    std::perror(what);
    std::abort();
  }

  sockaddr_un address_ = {};
  const int descriptor_;
};

}  // namespace corvane::bench
