#pragma once

#include <array>
#include <string>
#include <string_view>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"
#include "Platform/Posix/NotificationName.h"

namespace corvane::Platform {

/// The datagram socket through which a process hears notifications: each datagram is the name of
/// one. Bound and reached through the descriptor of a directory, as paths of containers are longer
/// than socket addresses.
class NotificationSocket {
 public:
  /// Binds a new socket under `name` in `directory`, mode 0600.
  static Result<NotificationSocket> bind(const OwnedDescriptor& directory, const std::string& name);

  /// Makes a socket that reaches only the socket `name` in `directory`. Fails with `disconnected`
  /// if no process has that open any more, or if it is not a socket, be it a symbolic link to one.
  static Result<OwnedDescriptor> connectedTo(const OwnedDescriptor& directory,
                                             const std::string& name);

  /// Whether it is certain that `name` in `directory` is a socket and that no process has it open
  /// any more.
  static bool isDead(const OwnedDescriptor& directory, const std::string& name);

  /// Returns the text of the next datagram, valid until the next call, and drops those that can't
  /// be a name. Never blocks: "" when there is none.
  Result<std::string_view> receive();

  /// By which to wait for datagrams.
  [[nodiscard]] int descriptor() const { return socket_.number(); }

 private:
  explicit NotificationSocket(OwnedDescriptor socket) : socket_(std::move(socket)) {}

  OwnedDescriptor socket_;
  std::array<char, longestNotificationName + 1> buffer_ = {};
};

}  // namespace corvane::Platform
