#include "Platform/NotificationCenter.h"

#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "Base/Result.h"
#include "Platform/Container/NotificationCleaner.h"
#include "Platform/Container/NotificationConnections.h"
#include "Platform/Container/NotificationFolders.h"
#include "Platform/Container/NotificationSocket.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Posix/NotificationName.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

/// Each name that is posted keeps descriptors open, so at most this many names are kept.
constexpr std::size_t mostNamesKept = 100;

/// At most this many notifications are delivered per iteration of the loop, so that a flood of
/// posts does not starve other events. A socket holds fewer.
constexpr std::size_t mostAtOnce = 1000;

}  // namespace

/// One socket receives all names. Its links stay until `withdraw`, because dropping an unobserved
/// notification is cheaper than linking again.
class NotificationCenter::Implementation {
 public:
  Implementation(EventLoop& loop, std::string containerFolder)
      : loop_(loop), containerFolder_(std::move(containerFolder)) {}

  Result<Done> observe(const std::string& name, Callback callback, Audience audience) {
    if (!isNotificationName(name)) return Failure{FailureCause::malformed, "not a valid name"};
    auto linked = link(name);
    if (isWithdrawn_) return Failure{FailureCause::other, "the notification center is closed"};
    callbacks_[name] = std::make_shared<const Callback>(std::move(callback));
    if (audience == Audience::thisProcessOnly) own_.insert(name);
    if (!linked) {
      SystemLog::write(SystemLog::Severity::error,
                       "cannot observe \"" + name + "\" yet: " + linked.failure().description());
      linkAgain_ = loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { linkMissing(); });
    }
    return linked;
  }

  void stopObserving(const std::string& name) { callbacks_.erase(name); }

  void deliverPending() {
    for (std::size_t count = 0; socket_ && count < mostAtOnce; ++count) {
      const auto name = socket_->receive();
      if (!name || name->empty()) return;
      deliver(*name);
    }
  }

  /// Makes no directory: without one there are no observers.
  void post(const std::string& name) {
    if (!isNotificationName(name)) return;
    if (connections_.size() >= mostNamesKept && !connections_.contains(name))
      std::erase_if(connections_, [](const auto& entry) { return entry.second.isIdle(); });
    connections_.try_emplace(name, loop_, containerFolder_ + "/Notifications/", name)
        .first->second.send();
  }

  void withdraw() {
    if (std::exchange(isWithdrawn_, true)) return;
    const auto end = EventLoop::now() + NotificationConnections::longestStandstill;
    for (auto& [name, connections] : connections_) connections.finish(end);
    linkAgain_ = {};
    for (const std::string& name : own_) {
      if (linked_.erase(name) == 0) continue;
      folders_->unlink(socketName_, name);
      folders_->removeName(name);
    }
    close();
  }

 private:
  using SharedCallback = std::shared_ptr<const Callback>;

  /// Makes all that is missing for hearing `name`.
  Result<Done> link(const std::string& name) {
    if (isWithdrawn_) return Done{};
    if (!socket_) {
      if (auto opened = open(); !opened) return opened;
    }
    if (linked_.contains(name)) {
      if (!callbacks_.contains(name)) deliverPending();
      return Done{};
    }
    auto linked = folders_->link(socketName_, name);
    if (linked) linked_.insert(name);
    if (!linked && linked.failure().cause == FailureCause::notFound) close();
    return linked;
  }

  /// Removes this process's links and socket, as far as they still exist, and forgets them.
  void close() {
    readable_ = {};
    cleaner_.reset();
    if (folders_) {
      for (const std::string& name : linked_) folders_->unlink(socketName_, name);
      folders_->removeSocket(socketName_);
    }
    socket_.reset();
    folders_.reset();
    linked_.clear();
  }

  Result<Done> open() {
    auto folders = NotificationFolders::open(containerFolder_);
    if (!folders) return folders.failure();
    std::string name = ProcessFileName::make();
    auto socket = NotificationSocket::bind(folders->folder(), NotificationFolders::hidden(name));
    if (!socket) return socket.failure();
    folders_ = std::move(folders).value();
    socketName_ = std::move(name);
    socket_ = std::move(socket).value();
    listen();
    cleaner_.emplace(loop_, *folders_);
    return Done{};
  }

  /// Observes what could not be observed before.
  void linkMissing() {
    linkAgain_ = {};
    std::vector<std::string> missing;
    for (const auto& [name, callback] : callbacks_)
      if (!linked_.contains(name)) missing.push_back(name);
    for (const std::string& name : missing) {
      if (isWithdrawn_) return;
      if (!link(name)) {
        linkAgain_ = loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { linkMissing(); });
      } else if (!own_.contains(name)) {
        deliver(name);
      }
    }
  }

  void listen() {
    readable_ = loop_.onReadable(socket_->descriptor(), [this] { receive(); });
  }

  /// Takes one notification, as the loop calls again while there are more. Pauses when the system
  /// can't give one.
  void receive() {
    const auto name = socket_->receive();
    if (name) {
      isFailing_ = false;
      return deliver(*name);
    }
    if (!std::exchange(isFailing_, true))
      SystemLog::write(SystemLog::Severity::error,
                       "notifications are received later: " + name.failure().description());
    readable_ = loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { listen(); });
  }

  /// The callback may replace or remove itself.
  void deliver(std::string_view name) {
    const auto found = callbacks_.find(name);
    if (found == callbacks_.end()) return;
    const SharedCallback callback = found->second;
    (*callback)();
  }

  EventLoop& loop_;
  const std::string containerFolder_;
  std::map<std::string, SharedCallback, std::less<>> callbacks_;
  std::map<std::string, NotificationConnections> connections_;  // by the names that are posted

  // What this process has in the file system; set by the first observation.
  std::optional<NotificationFolders> folders_;
  std::string socketName_;
  std::optional<NotificationSocket> socket_;
  std::set<std::string> linked_;      // names whose directory holds a link to the socket
  std::set<std::string> own_;         // those of them that no other process observes
  EventLoop::Registration readable_;  // or the pause before it is watched again
  EventLoop::Registration linkAgain_;
  bool isFailing_ = false;  // the socket, which the system log says once
  std::optional<NotificationCleaner> cleaner_;
  bool isWithdrawn_ = false;
};

NotificationCenter::NotificationCenter(EventLoop& loop, std::string containerFolder)
    : implementation_(std::make_unique<Implementation>(loop, std::move(containerFolder))) {}

NotificationCenter::~NotificationCenter() {
  implementation_->withdraw();
}

Result<Done> NotificationCenter::observe(const std::string& name, Callback callback,
                                         Audience audience) {
  return implementation_->observe(name, std::move(callback), audience);
}

void NotificationCenter::stopObserving(const std::string& name) {
  implementation_->stopObserving(name);
}

void NotificationCenter::deliverPending() {
  implementation_->deliverPending();
}

void NotificationCenter::post(const std::string& name) {
  implementation_->post(name);
}

void NotificationCenter::withdraw() {
  implementation_->withdraw();
}

}  // namespace corvane::Platform
