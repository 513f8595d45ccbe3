#include "Platform/Linux/NotificationConnections.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "Platform/Linux/Folders.h"
#include "Platform/Linux/NotificationSocket.h"

namespace corvane::Platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds longestWaitForFullQueues{100};

/// False, with errno set, when it can't be sent now.
bool sendNow(int connection, const std::string& name) {
  return ::send(connection, name.data(), name.size(), MSG_DONTWAIT) >= 0;
}

/// Whether errno says that the other end of a connection is gone for good.
bool saysGone() {
  return errno == ECONNREFUSED || errno == ENOTCONN || errno == ECONNRESET;
}

/// True when the observer is done with: it has the name, or will never take it.
bool isSettled(const pollfd& observer, const std::string& name) {
  return observer.revents != 0 && (sendNow(observer.fd, name) || errno != EAGAIN);
}

void sendOnceThereIsRoom(std::vector<pollfd> full, const std::string& name) {
  const auto end = Clock::now() + longestWaitForFullQueues;
  while (!full.empty()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    if (left <= 0) return;
    const int ready = ::poll(full.data(), full.size(), static_cast<int>(left));
    if (ready == 0 || (ready < 0 && errno != EINTR)) return;
    if (ready < 0) continue;
    std::erase_if(full, [&](const pollfd& observer) { return isSettled(observer, name); });
  }
}

}  // namespace

void NotificationConnections::send(const std::string& name) {
  if (!folder_ || !stamp_.holdsFor(folder_)) lookAnew();
  std::vector<pollfd> full;
  bool someAreGone = false;
  for (const Observer& observer : observers_) {
    const int connection = observer.connection.number();
    if (sendNow(connection, name)) continue;
    if (errno == EAGAIN) {
      full.push_back({connection, POLLOUT, 0});
    } else if (saysGone()) {
      someAreGone = true;
      remove(observer.entry);
    }
  }
  if (!full.empty()) sendOnceThereIsRoom(std::move(full), name);
  if (someAreGone) stamp_ = {};
}

/// Connects to all that are there now.
void NotificationConnections::lookAnew() {
  observers_.clear();
  folder_ = Folders::open(path_);
  if (!folder_) return;
  stamp_ = FolderStamp(folder_);
  bool isComplete = true;  // otherwise the next post looks again
  for (std::string& entry : Folders::entries(folder_)) {
    OwnedDescriptor connection = NotificationSocket::connectedTo(folder_, entry);
    if (connection) {
      observers_.push_back({std::move(entry), std::move(connection)});
    } else if (errno == ECONNREFUSED) {
      remove(entry);
    } else if (errno != ENOENT) {
      isComplete = false;
    }
  }
  if (!isComplete) stamp_ = {};
}

/// Removes a socket that nobody has open any more.
void NotificationConnections::remove(const std::string& entry) {
  if (NotificationSocket::isDead(folder_, entry) &&
      ::unlinkat(folder_.number(), entry.c_str(), 0) == 0) {
    ::rmdir(path_.c_str());  // unless somebody is left in it
  }
}

}  // namespace corvane::Platform
