#include "Platform/Container/NotificationConnections.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <string_view>
#include <utility>

#include "Platform/Container/NotificationSocket.h"
#include "Platform/Directories.h"
#include "Platform/SystemCalls.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

/// A full socket polls as writable only once three quarters of its buffer are free, long after it
/// accepts a datagram again, so sending is also retried by time.
constexpr std::chrono::milliseconds retryPause{10};

}  // namespace

NotificationConnections::NotificationConnections(EventLoop& loop, const std::string& parent,
                                                 std::string name)
    : loop_(loop), name_(std::move(name)), path_(parent + name_) {}

void NotificationConnections::send() {
  if (!directory_ || !stamp_.holdsFor(directory_)) {
    isLooking_ = !listAnew();
    lookLimit_ = EventLoop::now() + longestStandstill;
    if (isLooking_) lookAgainSoon();
  }
  for (const auto& observer : observers_) send(*observer);
  forgetGone();
}

void NotificationConnections::send(Observer& observer) {
  observer.isNew = false;
  const Sent sent = observer.pending.empty() ? sendTo(observer) : Sent::full;
  if (sent == Sent::full || sent == Sent::refused) await(observer, sent);
  observer.isGone = sent == Sent::gone;
}

void NotificationConnections::forgetGone() {
  const auto forget = [this](const std::unique_ptr<Observer>& observer) {
    if (observer->isGone) remove(observer->entry);
    return observer->isGone;
  };
  if (std::erase_if(observers_, forget) > 0) stamp_ = {};
}

void NotificationConnections::lookAgainSoon() {
  again_ = loop_.at(EventLoop::now() + retryPause, [this] { lookAgain(); });
}

/// Lists again and sends the name to observers that were not known when it was posted.
void NotificationConnections::lookAgain() {
  isLooking_ = !listAnew();
  for (const auto& observer : observers_)
    if (observer->isNew) send(*observer);
  forgetGone();
  if (!isLooking_) return;
  if (EventLoop::now() < lookLimit_) return lookAgainSoon();
  isLooking_ = false;
  SystemLog::write(SystemLog::Severity::error,
                   "observers of \"" + name_ + "\" may have missed it: they can't be listed");
}

NotificationConnections::Sent NotificationConnections::sendTo(Observer& observer) {
  while (systemCalls().send(observer.connection.number(), name_.data(), name_.size(),
                            MSG_DONTWAIT) < 0) {
    if (errno == ECONNREFUSED || errno == ENOTCONN || errno == ECONNRESET) return Sent::gone;
    if (errno == EAGAIN) return Sent::full;
    if (errno != EINTR) return Sent::refused;
  }
  return Sent::taken;
}

/// Adds a pending post for `observer`. If its queue is full, watches for writability; after any
/// other failure only retries by time, because the socket may poll as writable meanwhile.
void NotificationConnections::await(Observer& observer, Sent why) {
  observer.pending.push_back(EventLoop::now());
  if (observer.pending.size() > 1) return;
  if (why == Sent::full) {
    observer.writable = loop_.onWritable(observer.connection.number(),
                                         [this, &observer] { sendPending(observer); });
  }
  observer.retry =
      loop_.at(EventLoop::now() + retryPause, [this, &observer] { tryAgain(observer); });
}

void NotificationConnections::sendPending(Observer& observer) {
  while (!observer.pending.empty()) {
    const Sent sent = sendTo(observer);
    if (sent == Sent::refused) observer.writable = {};
    if (sent == Sent::full || sent == Sent::refused) return;
    if (sent == Sent::gone) {
      observer.pending.clear();
      break;
    }
    observer.lastTaken = EventLoop::now();
    observer.pending.pop_front();
  }
  observer.retry = {};
  observer.writable = {};
}

/// Sends as many pending posts as there is room for and drops those that have waited too long.
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
  return !isLooking_ && std::all_of(observers_.begin(), observers_.end(),
                                    [](const auto& observer) { return observer->pending.empty(); });
}

void NotificationConnections::finish(Clock::time_point end) {
  while (!isIdle() && EventLoop::now() < end) {
    std::vector<pollfd> full;
    for (const auto& observer : observers_) {
      if (observer->writable) full.push_back({observer->connection.number(), POLLOUT, 0});
    }
    systemCalls().poll(full.data(), full.size(), static_cast<int>(retryPause.count()));
    for (const auto& observer : observers_) sendPending(*observer);
    if (isLooking_) lookAgain();
  }
}

/// Connects to new observers and forgets those that have left. Returns false if some may be
/// missing; if the directory can't be read, all known ones are kept.
bool NotificationConnections::listAnew() {
  stamp_ = {};
  auto directory = Directories::open(path_);
  if (!directory && directory.failure().cause == FailureCause::notFound) {
    observers_.clear();
    directory_ = {};
    return true;
  }
  if (!directory) return false;
  const DirectoryStamp stamp(directory.value());
  const auto entries = Directories::entries(directory.value());
  if (!entries) return false;
  directory_ = std::move(directory).value();
  stamp_ = stamp;
  std::erase_if(observers_, [&](const auto& observer) {
    return std::find(entries->begin(), entries->end(), observer->entry) == entries->end();
  });
  std::set<std::string> known;
  for (const auto& observer : observers_) known.insert(observer->entry);
  bool isComplete = true;
  for (const std::string& entry : entries.value())
    if (!known.contains(entry)) isComplete = connectTo(entry) && isComplete;
  return isComplete;
}

/// Connects to `entry` if it is the socket of an observer. Returns false if that is unknown for
/// now.
bool NotificationConnections::connectTo(const std::string& entry) {
  auto connection = NotificationSocket::connectedTo(directory_, entry);
  if (connection) {
    observers_.push_back(
        std::make_unique<Observer>(Observer{entry, std::move(connection).value()}));
    return true;
  }
  const FailureCause cause = connection.failure().cause;
  if (cause == FailureCause::notFound) return true;
  if (cause == FailureCause::disconnected) {
    remove(entry);
    return true;
  }
  stamp_ = {};  // the next post lists again
  return cause == FailureCause::notPermitted;
}

/// Removes a socket that no process has open any more.
void NotificationConnections::remove(const std::string& entry) {
  if (NotificationSocket::isDead(directory_, entry) &&
      systemCalls().unlinkat(directory_.number(), entry.c_str(), 0) == 0) {
    systemCalls().rmdir(path_.c_str());  // fails while others are in it
  }
}

}  // namespace corvane::Platform
