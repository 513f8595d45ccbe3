#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"
#include "Platform/Posix/NotificationName.h"

namespace corvane::Platform {

/// The datagram socket through which a process hears notifications: each datagram is the name of
/// one. Bound and reached through the descriptor of a folder, as paths of containers are longer
/// than socket addresses.
class NotificationSocket {
 public:
  /// Binds a new socket under `name` in `folder`, mode 0600.
  static Result<NotificationSocket> bind(const OwnedDescriptor& folder, const std::string& name);

  /// A new socket that reaches only the socket `name` in `folder`; none, with errno set, when that
  /// can't be reached: ECONNREFUSED if nobody has it open any more, or if it is no socket, be it a
  /// symbolic link to one.
  static OwnedDescriptor connectedTo(const OwnedDescriptor& folder, const std::string& name);

  /// Whether nobody has the socket `name` in `folder` open any more. False for all else, be it no
  /// socket.
  static bool isDead(const OwnedDescriptor& folder, const std::string& name);

  /// Returns the text of the next datagram, valid until the next call, and drops those that can't
  /// be a name. Never blocks: "" when there is none. Nothing when the system fails.
  std::optional<std::string_view> receive();

  /// By which to wait for datagrams.
  [[nodiscard]] int descriptor() const { return socket_.number(); }

 private:
  explicit NotificationSocket(OwnedDescriptor socket) : socket_(std::move(socket)) {}

  OwnedDescriptor socket_;
  std::array<char, longestNotificationName + 1> buffer_ = {};
};

}  // namespace corvane::Platform
