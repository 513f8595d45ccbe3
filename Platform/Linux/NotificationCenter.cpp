#include "Platform/NotificationCenter.h"

#include <unistd.h>

#include <utility>

#include "Platform/Linux/Folders.h"
#include "Platform/Linux/NotificationCenterImplementation.h"
#include "Platform/Linux/NotificationPost.h"
#include "Platform/Linux/ProcessFileName.h"
#include "Platform/Posix/NotificationName.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {

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
  SystemLog::write(SystemLog::Severity::error,
                   "cannot observe \"" + name + "\": " + result.failure().description());
  return false;
}

/// Makes all that is missing for hearing `name`. With `setupMutex_` held.
Result<Done> NotificationCenter::Implementation::listen(const std::string& name) {
  if (!socket_) {
    if (auto opened = openSocket(name); !opened) return opened;
  }
  if (!linkedNames_.contains(name)) {
    if (auto linked = folders_->link(socketName_, name); !linked) return linked;
    linkedNames_.insert(name);
  }
  return Done{};
}

/// Binds the socket, begins to receive and removes what dead processes left. With `setupMutex_`
/// held.
Result<Done> NotificationCenter::Implementation::openSocket(const std::string& name) {
  auto folders = NotificationFolders::open(containerFolder_);
  if (!folders) return folders.failure();
  if (auto started = thread_.start(); !started) return started;
  const std::string socketName = ProcessFileName::make();
  auto socket =
      NotificationSocket::bind(folders->folder(), NotificationFolders::hidden(socketName));
  if (!socket) return socket.failure();
  const int descriptor = socket->descriptor();
  folders_ = std::move(folders).value();
  socket_ = std::move(socket).value();
  socketName_ = socketName;
  if (auto added = thread_.add(descriptor, [this] { receive(); }); !added) {
    folders_->removeSocket(socketName_);
    socket_.reset();
    return added;
  }
  folders_->clean(name);
  return Done{};
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

/// Opens the folder anew: a process that only posts makes none.
void NotificationCenter::Implementation::post(const std::string& name) const {
  if (!isNotificationName(name)) return;
  const std::string path = containerFolder_ + "/Notifications/" + name;
  const OwnedDescriptor observers = Folders::open(path);
  if (observers && postNotification(observers, name))
    ::rmdir(path.c_str());  // unless somebody is left in it
}

void NotificationCenter::Implementation::withdraw() {
  const std::lock_guard lock(setupMutex_);
  isWithdrawn_ = true;
  if (socket_) {
    for (const std::string& name : linkedNames_) folders_->unlink(socketName_, name);
    folders_->removeSocket(socketName_);
  }
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
