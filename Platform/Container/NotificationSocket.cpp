#include "Platform/Container/NotificationSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "Platform/File.h"
#include "Platform/Linux/DescriptorPath.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

/// The socket address of `path`, or nothing if it is too long for one.
std::optional<sockaddr_un> addressOf(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return std::nullopt;
  path.copy(address.sun_path, path.size());
  return address;
}

constexpr mode_t socketMode = 0600;

OwnedDescriptor makeSocket() {
  return OwnedDescriptor(systemCalls().socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

const sockaddr* plain(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

Result<NotificationSocket> NotificationSocket::bind(const OwnedDescriptor& directory,
                                                    const std::string& name) {
  OwnedDescriptor socket = makeSocket();
  if (!socket) return failureFromErrno("socket");
  const auto address = addressOf(pathOf(directory) + "/" + name);
  if (!address) return Failure{FailureCause::other, "the name of a socket is too long"};
  // The bound file gets the mode of the socket: only its user may send, whatever the umask.
  if (systemCalls().fchmod(socket.number(), socketMode) != 0) return failureFromErrno("fchmod");
  if (systemCalls().bind(socket.number(), plain(*address), sizeof *address) != 0)
    return failureFromErrno("bind");
  return NotificationSocket(std::move(socket));
}

Result<std::string_view> NotificationSocket::receive() {
  for (;;) {
    const ssize_t length =
        systemCalls().recv(socket_.number(), buffer_.data(), buffer_.size(), MSG_DONTWAIT);
    if (length < 0 && errno == EINTR) continue;
    if (length < 0 && errno == EAGAIN) return std::string_view();
    if (length < 0) return failureFromErrno("receive");
    const auto size = static_cast<std::size_t>(length);
    if (size > 0 && size <= longestNotificationName) return std::string_view(buffer_.data(), size);
  }
}

Result<OwnedDescriptor> NotificationSocket::connectedTo(const OwnedDescriptor& directory,
                                                        const std::string& name) {
  // Through the entry itself, as connecting by its name would follow a symbolic link.
  auto entry = openAt(directory.number(), name, O_PATH | O_NOFOLLOW);
  if (!entry) return entry;
  OwnedDescriptor socket = makeSocket();
  if (!socket) return failureFromErrno("socket");
  const auto address = addressOf(pathOf(entry.value()));
  if (!address) return Failure{FailureCause::other, "the name of a socket is too long"};
  while (systemCalls().connect(socket.number(), plain(*address), sizeof *address) != 0)
    if (errno != EINTR) return failureFromErrno("connect");
  return socket;
}

bool NotificationSocket::isDead(const OwnedDescriptor& directory, const std::string& name) {
  struct stat status = {};
  if (systemCalls().fstatat(directory.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
    return false;
  if (!S_ISSOCK(status.st_mode)) return false;
  const auto connection = connectedTo(directory, name);
  return !connection && connection.failure().cause == FailureCause::disconnected;
}

}  // namespace corvane::Platform
