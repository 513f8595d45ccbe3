#include "Platform/Posix/NotificationChannel.h"

#include <map>
#include <optional>
#include <utility>

#include "Platform/Container/NotificationCleaner.h"
#include "Platform/Container/NotificationConnections.h"
#include "Platform/Container/NotificationDirectory.h"
#include "Platform/Container/NotificationSocket.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

/// Connections are kept for at most this many names, because each name keeps descriptors open.
constexpr std::size_t mostNamesKept = 100;

/// At most this many notifications are delivered by one `deliverPending`, so that a flood of posts
/// does not starve other events. A socket holds fewer.
constexpr std::size_t mostAtOnce = 1000;

/// One socket receives all names, through a link to it in the directory of each.
class SocketNotifications final : public NotificationChannel {
 public:
  SocketNotifications(EventLoop& loop, std::string containerDirectory, Received received)
      : loop_(loop),
        containerDirectory_(std::move(containerDirectory)),
        received_(std::move(received)) {}

  [[nodiscard]] bool listensTo(const std::string& name) const override {
    return linked_.contains(name);
  }

  /// Creates the socket if there is none yet and links it for `name`.
  Result<Done> listen(const std::string& name) override {
    if (!socket_) {
      if (auto opened = open(); !opened) return opened;
    }
    if (linked_.contains(name)) {
      deliverPending();
      return Done{};
    }
    auto linked = notifications_->link(socketName_, name);
    if (linked) linked_.insert(name);
    if (!linked && linked.failure().cause == FailureCause::notFound) removeAll();
    return linked;
  }

  void deliverPending() override {
    for (std::size_t count = 0; socket_ && count < mostAtOnce; ++count) {
      const auto name = socket_->receive();
      if (!name || name->empty()) return;
      received_(*name);
    }
  }

  /// Creates no directory: if there is none, there are no observers.
  void post(const std::string& name) override {
    if (connections_.size() >= mostNamesKept && !connections_.contains(name))
      std::erase_if(connections_, [](const auto& entry) { return entry.second.isIdle(); });
    connections_.try_emplace(name, loop_, containerDirectory_ + "/Notifications/", name)
        .first->second.send();
  }

  void close(const std::set<std::string>& own) override {
    const auto end = EventLoop::now() + NotificationConnections::longestStandstill;
    for (auto& [name, connections] : connections_) connections.finish(end);
    for (const std::string& name : own) {
      if (linked_.erase(name) == 0) continue;
      notifications_->unlink(socketName_, name);
      notifications_->removeName(name);
    }
    removeAll();
  }

 private:
  /// Removes this process's links and socket, as far as they still exist, and forgets them.
  void removeAll() {
    readable_ = {};
    cleaner_.reset();
    if (notifications_) {
      for (const std::string& name : linked_) notifications_->unlink(socketName_, name);
      notifications_->removeSocket(socketName_);
    }
    socket_.reset();
    notifications_.reset();
    linked_.clear();
  }

  Result<Done> open() {
    auto notifications = NotificationDirectory::open(containerDirectory_);
    if (!notifications) return notifications.failure();
    std::string name = ProcessFileName::make();
    auto socket =
        NotificationSocket::bind(notifications->descriptor(), NotificationDirectory::hidden(name));
    if (!socket) return socket.failure();
    notifications_ = std::move(notifications).value();
    socketName_ = std::move(name);
    socket_ = std::move(socket).value();
    watch();
    cleaner_.emplace(loop_, *notifications_);
    return Done{};
  }

  void watch() {
    readable_ = loop_.onReadable(socket_->descriptor(), [this] { receive(); });
  }

  /// Receives one notification; the loop calls again while there are more. Pauses if the system
  /// can't receive for now.
  void receive() {
    const auto name = socket_->receive();
    if (name) {
      isFailing_ = false;
      return received_(*name);
    }
    if (!std::exchange(isFailing_, true))
      SystemLog::write(SystemLog::Severity::error,
                       "notifications are received later: " + name.failure().description());
    readable_ = loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { watch(); });
  }

  EventLoop& loop_;
  const std::string containerDirectory_;
  const Received received_;
  std::map<std::string, NotificationConnections> connections_;  // by the names that are posted

  // What this process has in the file system; set by the first `listen`.
  std::optional<NotificationDirectory> notifications_;
  std::string socketName_;
  std::optional<NotificationSocket> socket_;
  std::set<std::string> linked_;      // names whose directory holds a link to the socket
  EventLoop::Registration readable_;  // or the timer of the pause after a failure
  bool isFailing_ = false;            // the last receive failed, which was logged once
  std::optional<NotificationCleaner> cleaner_;
};

}  // namespace

std::unique_ptr<NotificationChannel> NotificationChannel::make(EventLoop& loop,
                                                               std::string containerDirectory,
                                                               Received received) {
  return std::make_unique<SocketNotifications>(loop, std::move(containerDirectory),
                                               std::move(received));
}

}  // namespace corvane::Platform
