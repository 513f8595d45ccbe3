#include "Platform/NotificationCenter.h"

#include <utility>

#include "Platform/Linux/NotificationCenterImplementation.h"
#include "Platform/Linux/ProcessFileName.h"
#include "Platform/Posix/NotificationName.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

/// Observers are kept with open descriptors: for so many names at most.
constexpr std::size_t mostNamesKept = 100;

void recordDeafness(const std::string& name, const Failure& failure) {
  SystemLog::write(SystemLog::Severity::error,
                   "cannot observe \"" + name + "\": " + failure.description());
}

}  // namespace

NotificationCenter::Implementation::Implementation(std::string containerFolder)
    : containerFolder_(std::move(containerFolder)), thread_("notifications") {}

NotificationCenter::Implementation::~Implementation() {
  withdraw();
}

bool NotificationCenter::Implementation::observe(const std::string& name, Callback callback) {
  Result<Done> result = Failure{FailureCause::other, "no name for a notification"};
  if (isNotificationName(name)) {
    const std::lock_guard lock(setupMutex_);
    if (isWithdrawn_) return false;
    // The callback is there before the link: what comes through the link is never lost.
    callbacks_.set(name, std::move(callback));
    result = listen(name);
    if (!result) callbacks_.remove(name);
  }
  if (result) return true;
  recordDeafness(name, result.failure());
  return false;
}

/// Makes all that is missing for hearing `name`. With `setupMutex_` held.
Result<Done> NotificationCenter::Implementation::listen(const std::string& name) {
  if (!socket_) {
    if (auto opened = openSocket(); !opened) return opened;
  }
  return link(socketName_, name);
}

/// Binds the socket of the callbacks and begins to receive. With `setupMutex_` held.
Result<Done> NotificationCenter::Implementation::openSocket() {
  if (auto started = thread_.start(); !started) return started;
  auto socket = bind(socketName_);
  if (!socket) return socket.failure();
  const int descriptor = socket->descriptor();
  socket_ = std::move(socket).value();
  if (auto added = thread_.add(descriptor, [this] { receive(); }); !added) {
    removeLinks(socketName_);
    socket_.reset();
    return added;
  }
  return Done{};
}

/// Binds a new socket under the name that it gives; the first one removes what dead processes left.
/// With `setupMutex_` held.
Result<NotificationSocket> NotificationCenter::Implementation::bind(std::string& socketName) {
  const bool isFirst = !folders_;
  if (isFirst) {
    auto folders = NotificationFolders::open(containerFolder_);
    if (!folders) return folders.failure();
    folders_ = std::move(folders).value();
  }
  const std::string name = ProcessFileName::make();
  auto socket = NotificationSocket::bind(folders_->folder(), NotificationFolders::hidden(name));
  if (socket) {
    socketName = name;
    links_[name];
    if (isFirst) folders_->clean();
  }
  return socket;
}

/// With `setupMutex_` held.
Result<Done> NotificationCenter::Implementation::link(const std::string& socketName,
                                                      const std::string& name) {
  auto& names = links_[socketName];
  if (names.contains(name)) return Done{};
  auto linked = folders_->link(socketName, name);
  if (linked) names.insert(name);
  return linked;
}

std::optional<NotificationSocket> NotificationCenter::Implementation::bindMailbox(
    std::string& socketName) {
  const std::lock_guard lock(setupMutex_);
  if (isWithdrawn_) return std::nullopt;
  auto socket = bind(socketName);
  if (socket) return std::move(socket).value();
  recordDeafness("replies", socket.failure());
  return std::nullopt;
}

bool NotificationCenter::Implementation::linkMailbox(const std::string& socketName,
                                                     const std::string& name) {
  const std::lock_guard lock(setupMutex_);
  if (isWithdrawn_) return false;
  if (!isNotificationName(name)) return false;
  const auto linked = link(socketName, name);
  if (!linked) recordDeafness(name, linked.failure());
  return static_cast<bool>(linked);
}

void NotificationCenter::Implementation::removeSocket(const std::string& socketName) {
  const std::lock_guard lock(setupMutex_);
  if (!isWithdrawn_) removeLinks(socketName);
}

/// Leaves the folders of names that others observe, too, or the next of our kind. With
/// `setupMutex_` held.
void NotificationCenter::Implementation::removeLinks(const std::string& socketName) {
  for (const std::string& name : links_[socketName]) {
    folders_->unlink(socketName, name);
    if (socketName != socketName_) folders_->removeName(name);  // a mailbox's
  }
  folders_->removeSocket(socketName);
  links_.erase(socketName);
}

/// On the thread, when the socket can be read.
void NotificationCenter::Implementation::receive() {
  if (const auto name = socket_->receive()) {
    callbacks_.deliver(*name);
    return;
  }
  thread_.remove(socket_->descriptor());
  SystemLog::write(SystemLog::Severity::error,
                   "notifications are heard no more: the socket failed");
}

void NotificationCenter::Implementation::stopObserving(const std::string& name) {
  callbacks_.remove(name);
  callbacks_.awaitEnd(name);
}

/// Makes no folder: where there is none, nobody observes.
void NotificationCenter::Implementation::post(const std::string& name) {
  if (!isNotificationName(name)) return;
  const std::lock_guard lock(postMutex_);
  if (connections_.size() >= mostNamesKept && !connections_.contains(name)) connections_.clear();
  connections_.try_emplace(name, containerFolder_ + "/Notifications/" + name)
      .first->second.send(name);
}

void NotificationCenter::Implementation::withdraw() {
  const std::lock_guard lock(setupMutex_);
  isWithdrawn_ = true;
  while (!links_.empty()) removeLinks(std::string(links_.begin()->first));
  thread_.stop();  // at most one callback from its end, and those only queue
  socket_.reset();
  folders_.reset();
}

NotificationCenter::NotificationCenter(std::string containerFolder)
    : implementation_(std::make_unique<Implementation>(std::move(containerFolder))) {}

NotificationCenter::~NotificationCenter() = default;

bool NotificationCenter::observe(const std::string& name, Callback callback) {
  return implementation_->observe(name, std::move(callback));
}

void NotificationCenter::stopObserving(const std::string& name) {
  implementation_->stopObserving(name);
}

void NotificationCenter::post(const std::string& name) {
  implementation_->post(name);
}

void NotificationCenter::withdraw() {
  implementation_->withdraw();
}

}  // namespace corvane::Platform
