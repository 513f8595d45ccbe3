#pragma once

#include <array>
#include <string>
#include <string_view>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"
#include "Platform/Posix/NotificationName.h"

namespace corvane::Platform {

/// The datagram socket (unix(7)) through which a process receives notifications; each datagram is
/// the name of one. Sockets are addressed through the descriptor of their directory, because the
/// paths of containers are longer than socket addresses may be. Movable. One thread at a time.
class NotificationSocket {
 public:
  /// Creates a socket and binds it as `name` in `directory`, mode 0600: only processes of the user
  /// may send to it. Fails if the name exists.
  static Result<NotificationSocket> bind(const OwnedDescriptor& directory, const std::string& name);

  /// Creates a socket for sending, connected to the socket `name` in `directory`. Fails with
  /// `disconnected` if no process has that one open any more or if the entry is not a socket;
  /// symbolic links are not followed.
  static Result<OwnedDescriptor> connectedTo(const OwnedDescriptor& directory,
                                             const std::string& name);

  /// Returns true if `name` in `directory` is certainly a socket that no process has open any more.
  static bool isDead(const OwnedDescriptor& directory, const std::string& name);

  /// Returns the name in the next datagram, valid until the next call, or "" if there is none.
  /// Skips datagrams that can't be names. Never blocks. Fails if the system can't receive for now.
  Result<std::string_view> receive();

  /// The descriptor to watch for datagrams; stays owned by this object.
  [[nodiscard]] int descriptor() const { return socket_.number(); }

 private:
  explicit NotificationSocket(OwnedDescriptor socket) : socket_(std::move(socket)) {}

  OwnedDescriptor socket_;
  std::array<char, longestNotificationName + 1> buffer_ = {};
};

}  // namespace corvane::Platform
