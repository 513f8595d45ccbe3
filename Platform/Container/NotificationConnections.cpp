#include "Platform/Container/NotificationConnections.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/Container/NotificationSocket.h"
#include "Platform/Folders.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

/// A socket counts as writable long after it takes a datagram again (a quarter of its buffer may be
/// unread then), so it is also tried now and then.
constexpr std::chrono::milliseconds retryPause{10};

/// Whether errno says that the other end of a connection is gone for good.
bool saysGone() {
  return errno == ECONNREFUSED || errno == ENOTCONN || errno == ECONNRESET;
}

}  // namespace

NotificationConnections::NotificationConnections(EventLoop& loop, const std::string& parent,
                                                 std::string name)
    : loop_(loop), name_(std::move(name)), path_(parent + name_) {}

void NotificationConnections::send() {
  if (!folder_ || !stamp_.holdsFor(folder_)) listAnew();
  const auto isGone = [this](const std::unique_ptr<Observer>& observer) {
    const bool isWaiting = !observer->pending.empty();
    if (!isWaiting && sendTo(*observer)) return false;
    if (isWaiting || !saysGone()) {
      await(*observer);
      return false;
    }
    remove(observer->entry);
    return true;
  };
  if (std::erase_if(observers_, isGone) > 0) stamp_ = {};
}

/// False, with errno set, when it can't be sent now.
bool NotificationConnections::sendTo(Observer& observer) {
  return systemCalls().send(observer.connection.number(), name_.data(), name_.size(),
                            MSG_DONTWAIT) >= 0;
}

/// Notes that `observer` has one more to get, once there is room.
void NotificationConnections::await(Observer& observer) {
  observer.pending.push_back(EventLoop::now());
  if (observer.pending.size() > 1) return;
  observer.writable =
      loop_.onWritable(observer.connection.number(), [this, &observer] { sendPending(observer); });
  observer.retry =
      loop_.at(EventLoop::now() + retryPause, [this, &observer] { tryAgain(observer); });
}

void NotificationConnections::sendPending(Observer& observer) {
  while (!observer.pending.empty()) {
    if (sendTo(observer)) {
      observer.lastTaken = EventLoop::now();
      observer.pending.pop_front();
    } else if (saysGone()) {
      observer.pending.clear();
    } else {
      return;
    }
  }
  observer.retry = {};
  observer.writable = {};
}

/// Sends what there is room for and drops what has waited for too long.
void NotificationConnections::tryAgain(Observer& observer) {
  sendPending(observer);
  const auto now = EventLoop::now();
  while (!observer.pending.empty() &&
         std::max(observer.pending.front(), observer.lastTaken) + longestStandstill <= now)
    observer.pending.pop_front();
  if (observer.pending.empty()) {
    observer.writable = {};
  } else {
    observer.retry = loop_.at(now + retryPause, [this, &observer] { tryAgain(observer); });
  }
}

bool NotificationConnections::isIdle() const {
  return std::all_of(observers_.begin(), observers_.end(),
                     [](const auto& observer) { return observer->pending.empty(); });
}

void NotificationConnections::finish(Clock::time_point end) {
  while (!isIdle() && EventLoop::now() < end) {
    std::vector<pollfd> full;
    for (const auto& observer : observers_) {
      if (!observer->pending.empty()) full.push_back({observer->connection.number(), POLLOUT, 0});
    }
    systemCalls().poll(full.data(), full.size(), static_cast<int>(retryPause.count()));
    for (const auto& observer : observers_) sendPending(*observer);
  }
}

/// Connects to the observers that are new and forgets those that have left. A directory that can't
/// be looked into leaves those that are known.
void NotificationConnections::listAnew() {
  OwnedDescriptor folder = Folders::open(path_);
  if (!folder && errno != ENOENT && errno != ENOTDIR) {
    stamp_ = {};
    return;
  }
  std::vector<std::unique_ptr<Observer>> known = std::exchange(observers_, {});
  folder_ = std::move(folder);
  if (!folder_) return;
  stamp_ = FolderStamp(folder_);
  bool isComplete = true;  // otherwise the next post lists it again
  for (std::string& entry : Folders::entries(folder_)) {
    const auto found = std::find_if(known.begin(), known.end(), [&](const auto& observer) {
      return observer && observer->entry == entry;
    });
    if (found != known.end()) {
      observers_.push_back(std::move(*found));
      continue;
    }
    OwnedDescriptor connection = NotificationSocket::connectedTo(folder_, entry);
    if (connection) {
      observers_.push_back(
          std::make_unique<Observer>(Observer{std::move(entry), std::move(connection)}));
    } else if (errno == ECONNREFUSED) {
      remove(entry);
    } else if (errno != ENOENT) {
      isComplete = false;
    }
  }
  if (!isComplete) stamp_ = {};
}

/// Removes a socket that no process has open any more.
void NotificationConnections::remove(const std::string& entry) {
  if (NotificationSocket::isDead(folder_, entry) &&
      systemCalls().unlinkat(folder_.number(), entry.c_str(), 0) == 0) {
    systemCalls().rmdir(path_.c_str());  // fails while others are in it
  }
}

}  // namespace corvane::Platform
