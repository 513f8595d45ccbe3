#include "Platform/Linux/NotificationPost.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <vector>

#include "Platform/Linux/Folders.h"
#include "Platform/Linux/NotificationSocket.h"

namespace corvane::Platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds longestWaitForFullQueues{100};

/// Sockets that are each connected to one observer whose queue was full.
std::vector<pollfd> connectedTo(const OwnedDescriptor& folder, const std::vector<std::string>& full,
                                std::vector<OwnedDescriptor>& owners) {
  std::vector<pollfd> waiting;
  for (const std::string& observer : full) {
    OwnedDescriptor socket = NotificationSender::connectedTo(folder, observer);
    if (!socket) continue;
    waiting.push_back({socket.number(), POLLOUT, 0});
    owners.push_back(std::move(socket));
  }
  return waiting;
}

/// True when the observer is done with: it has the name, or will never take it.
bool isSettled(const pollfd& observer, const std::string& name) {
  return observer.revents != 0 &&
         (::send(observer.fd, name.data(), name.size(), MSG_DONTWAIT) >= 0 || errno != EAGAIN);
}

void sendOnceThereIsRoom(const OwnedDescriptor& folder, const std::vector<std::string>& full,
                         const std::string& name) {
  const auto end = Clock::now() + longestWaitForFullQueues;
  std::vector<OwnedDescriptor> owners;
  std::vector<pollfd> waiting = connectedTo(folder, full, owners);
  while (!waiting.empty()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) return;
    const int ready = ::poll(waiting.data(), waiting.size(), static_cast<int>(left));
    if (ready == 0 || (ready < 0 && errno != EINTR)) return;
    if (ready < 0) continue;
    std::erase_if(waiting, [&](const pollfd& observer) { return isSettled(observer, name); });
  }
}

}  // namespace

bool postNotification(const OwnedDescriptor& folder, const std::string& name) {
  const NotificationSender sender;  // its own: what lies unread counts against its sender
  std::vector<std::string> full;
  bool removed = false;
  for (const std::string& entry : Folders::entries(folder)) {
    if (sender.send(folder, entry, name)) continue;
    if (errno == EAGAIN) {
      full.push_back(entry);
    } else if (errno == ECONNREFUSED && sender.isDead(folder, entry)) {
      removed = ::unlinkat(folder.number(), entry.c_str(), 0) == 0 || removed;
    }
  }
  if (!full.empty()) sendOnceThereIsRoom(folder, full, name);
  return removed;
}

}  // namespace corvane::Platform
