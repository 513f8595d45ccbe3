#include "simulation/System/Calls.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane::Simulation {
namespace {

using Kind = OpenFile::Kind;
using NodeKind = Inode::Kind;

Time deadlineOf(const Kernel& kernel, int milliseconds) {
  return milliseconds < 0 ? Time::max() : kernel.now() + std::chrono::milliseconds(milliseconds);
}

std::string_view pathOf(const struct sockaddr* address) {
  return reinterpret_cast<const sockaddr_un*>(address)->sun_path;
}

}  // namespace

int Calls::poll(struct pollfd* descriptors, nfds_t count, int milliseconds) {
  if (const int error = kernel_.enter("poll", "", {EINTR, ENOMEM})) return failed(error);
  const auto look = [this, descriptors, count] {
    int ready = 0;
    for (nfds_t i = 0; i < count; ++i) {
      const File file = fileOf(descriptors[i].fd);
      const unsigned wanted = static_cast<unsigned short>(descriptors[i].events);
      const unsigned holds = file ? readiness(*file) & (wanted | POLLHUP | POLLERR) : POLLNVAL;
      descriptors[i].revents = static_cast<short>(holds);
      if (holds != 0) ++ready;
    }
    return ready;
  };
  if (const int ready = look(); ready > 0 || milliseconds == 0) return ready;
  std::vector<OpenFile*> files;
  for (nfds_t i = 0; i < count; ++i) files.push_back(fileOf(descriptors[i].fd).get());
  const auto isReady = [this, files, descriptors] {
    for (std::size_t i = 0; i < files.size(); ++i) {
      const unsigned wanted = static_cast<unsigned short>(descriptors[i].events);
      if ((readiness(*files[i]) & (wanted | POLLHUP | POLLERR)) != 0) return true;
    }
    return false;
  };
  kernel_.block("poll", isReady, deadlineOf(kernel_, milliseconds));
  return look();
}

int Calls::socket(int /*domain*/, int /*type*/, int /*protocol*/) {
  if (const int error = kernel_.enter("socket", "", {EMFILE, ENFILE, ENOMEM})) return failed(error);
  auto file = std::make_shared<OpenFile>(Kind::socket);
  file->socket = std::make_shared<Socket>();
  return kernel_.addDescriptor(std::move(file));
}

int Calls::bind(int socket, const struct sockaddr* address, socklen_t /*length*/) {
  if (const int error = kernel_.enter("bind", pathOf(address), {ENOSPC, ENOMEM}))
    return failed(error);
  const FileSystem::Place place = find(AT_FDCWD, std::string(pathOf(address)).c_str());
  if (place.error != 0) return failed(place.error);
  if (place.node) return failed(EADDRINUSE);
  if (place.folder->links == 0) return failed(ENOENT);
  kernel_.files().make(place, NodeKind::socket, S_IFSOCK | 0600)->socket = fileOf(socket)->socket;
  return 0;
}

int Calls::connect(int socket, const struct sockaddr* address, socklen_t /*length*/) {
  if (const int error = kernel_.enter("connect", pathOf(address), {EINTR, ENOMEM}))
    return failed(error);
  const FileSystem::Place place = find(AT_FDCWD, std::string(pathOf(address)).c_str());
  if (!place.node) return failed(place.error == 0 ? ENOENT : place.error);
  const auto& peer = place.node->socket;
  if (!peer || peer->isClosed) return failed(ECONNREFUSED);
  fileOf(socket)->peer = peer;
  return 0;
}

ssize_t Calls::send(int socket, const void* bytes, std::size_t count, int flags) {
  const std::string_view text(static_cast<const char*>(bytes), count);
  if (const int error = kernel_.enter("send", text, {EINTR, ENOBUFS, ENOMEM})) return failed(error);
  const File file = fileOf(socket);
  if (!file || file->kind != Kind::socket) return failed(EBADF);
  if (!file->peer) return failed(ENOTCONN);
  if (file->peer->isClosed) {
    file->peer.reset();
    return failed(ECONNREFUSED);
  }
  if ((flags & MSG_DONTWAIT) == 0) {
    Socket* const peer = file->peer.get();
    const auto hasRoom = [peer] {
      return peer->isClosed || peer->unread.size() < Socket::maximumUnread;
    };
    kernel_.block("send", hasRoom, Time::max());
  }
  if (file->peer->unread.size() >= Socket::maximumUnread) {
    kernel_.watcher().refuses(kernel_.current());
    return failed(EAGAIN);
  }
  file->peer->unread.emplace_back(text);
  kernel_.watcher().sends();
  return static_cast<ssize_t>(count);
}

ssize_t Calls::recv(int socket, void* bytes, std::size_t count, int flags) {
  if (const int error = kernel_.enter("recv", "", {EINTR, ENOMEM})) return failed(error);
  const File file = fileOf(socket);
  if (!file || file->kind != Kind::socket) return failed(EBADF);
  auto& unread = file->socket->unread;
  if ((flags & MSG_DONTWAIT) == 0)
    kernel_.block(
        "recv", [&unread] { return !unread.empty(); }, Time::max());
  if (unread.empty()) return failed(EAGAIN);
  auto next = unread.begin();
  if (kernel_.reorders) {  // the oldest one of a random name
    const std::string& name = unread[kernel_.random().below(unread.size())];
    next = std::find(unread.begin(), unread.end(), name);
  }
  const std::string text = std::move(*next);
  unread.erase(next);
  kernel_.watcher().receives(kernel_.current(), text);
  return static_cast<ssize_t>(text.copy(static_cast<char*>(bytes), count));
}

}  // namespace corvane::Simulation
