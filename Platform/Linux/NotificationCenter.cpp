#include "Platform/NotificationCenter.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "Platform/Linux/Folders.h"
#include "Platform/Linux/NotificationFolders.h"
#include "Platform/Linux/NotificationPost.h"
#include "Platform/Linux/NotificationSocket.h"
#include "Platform/Linux/ProcessFileName.h"
#include "Platform/SystemLog.h"
#include "Platform/Threads.h"

namespace corvane::Platform {

/// One socket and one receiving thread serve all names. The thread takes `deliveryMutex_` only,
/// which nobody holds during a system call: so nobody who posts ever waits, through it, for a
/// socket that it must empty.
class NotificationCenter::Implementation {
 public:
  explicit Implementation(std::string containerFolder)
      : containerFolder_(std::move(containerFolder)) {}
  ~Implementation() { withdraw(); }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  bool observe(const std::string& name, Callback callback);
  void stopObserving(const std::string& name);
  void post(const std::string& name) const;
  void withdraw();

 private:
  using SharedCallback = std::shared_ptr<const Callback>;

  Result<Done> listen(const std::string& name);
  Result<Done> openSocket(const std::string& name);
  void receive();
  void deliver(std::string_view name);
  SharedCallback exchangeCallback(const std::string& name, SharedCallback callback);

  const std::string containerFolder_;

  std::mutex
      setupMutex_;  // guards what this process has in the file system, and the life of the thread
  std::optional<NotificationFolders> folders_;
  std::optional<NotificationSocket> socket_;  // once set, the thread's until it has been joined
  std::string socketName_;
  std::set<std::string> linkedNames_;
  std::thread receiver_;
  bool isWithdrawn_ = false;

  std::atomic<bool> isEnding_ = false;  // set before the socket is closed

  std::mutex deliveryMutex_;  // guards the callbacks and what is said of the one that runs
  std::map<std::string, SharedCallback, std::less<>> callbacks_;
  std::string runningName_;  // whose callback runs now; "" when none does
  std::thread::id receiverIdentifier_;
  std::condition_variable callbackEnded_;
};

bool NotificationCenter::Implementation::observe(const std::string& name, Callback callback) {
  Result<Done> result = Failure{FailureCause::other, "no name for a notification"};
  if (NotificationFolders::isName(name)) {
    const std::lock_guard lock(setupMutex_);
    if (isWithdrawn_) return false;
    // The callback is there before the link: what comes through the link is never lost.
    const SharedCallback replaced =
        exchangeCallback(name, std::make_shared<const Callback>(std::move(callback)));
    result = listen(name);
    if (!result) exchangeCallback(name, nullptr);
  }
  if (result) return true;
  SystemLog::write(SystemLog::Severity::error,
                   "cannot observe \"" + name + "\": " + result.failure().description());
  return false;
}

NotificationCenter::Implementation::SharedCallback
NotificationCenter::Implementation::exchangeCallback(const std::string& name,
                                                     SharedCallback callback) {
  const std::lock_guard lock(deliveryMutex_);
  if (callback) {
    callbacks_[name].swap(callback);
  } else if (const auto found = callbacks_.find(name); found != callbacks_.end()) {
    callback = std::move(found->second);
    callbacks_.erase(found);
  }
  return callback;
}

/// Makes all that is missing for hearing `name`. With `setupMutex_` held.
Result<Done> NotificationCenter::Implementation::listen(const std::string& name) {
  if (!socket_) {
    if (auto opened = openSocket(name); !opened) return opened;
  }
  if (!receiver_.joinable()) {
    try {
      receiver_ = std::thread([this] { receive(); });
    } catch (const std::system_error& error) {
      return Failure{FailureCause::other, error.what()};
    }
  }
  if (!linkedNames_.contains(name)) {
    if (auto linked = folders_->link(socketName_, name); !linked) return linked;
    linkedNames_.insert(name);
  }
  return Done{};
}

/// Binds the socket and removes what dead processes left. With `setupMutex_` held.
Result<Done> NotificationCenter::Implementation::openSocket(const std::string& name) {
  auto folders = NotificationFolders::open(containerFolder_);
  if (!folders) return folders.failure();
  const std::string socketName = ProcessFileName::make();
  auto socket =
      NotificationSocket::bind(folders->folder(), NotificationFolders::hidden(socketName));
  if (!socket) return socket.failure();
  folders_ = std::move(folders).value();
  socket_ = std::move(socket).value();
  socketName_ = socketName;
  folders_->clean(name);
  return Done{};
}

/// What the thread does.
void NotificationCenter::Implementation::receive() {
  nameThisThread("notifications");
  {
    const std::lock_guard lock(deliveryMutex_);
    receiverIdentifier_ = std::this_thread::get_id();
  }
  while (const auto name = socket_->receive()) {
    if (isEnding_) return;
    deliver(*name);
  }
  SystemLog::write(SystemLog::Severity::error,
                   "notifications are heard no more: the socket failed");
}

void NotificationCenter::Implementation::deliver(std::string_view name) {
  SharedCallback callback;
  {
    const std::lock_guard lock(deliveryMutex_);
    const auto found = callbacks_.find(name);
    if (found == callbacks_.end()) return;
    callback = found->second;
    runningName_ = name;
  }
  (*callback)();
  callback.reset();
  {
    const std::lock_guard lock(deliveryMutex_);
    runningName_.clear();
  }
  callbackEnded_.notify_all();
}

void NotificationCenter::Implementation::stopObserving(const std::string& name) {
  const SharedCallback ended = exchangeCallback(name, nullptr);
  std::unique_lock lock(deliveryMutex_);
  if (std::this_thread::get_id() == receiverIdentifier_)
    return;  // it is this callback that would be awaited
  callbackEnded_.wait(lock, [&] { return runningName_ != name; });
}

/// Opens the folders anew: a process that only posts makes none.
void NotificationCenter::Implementation::post(const std::string& name) const {
  if (!NotificationFolders::isName(name)) return;
  const OwnedDescriptor all = Folders::open(containerFolder_ + "/Notifications");
  if (!all) return;
  const OwnedDescriptor observers = Folders::open(all, name);
  if (!observers || !postNotification(observers, name)) return;
  ::unlinkat(all.number(), name.c_str(), AT_REMOVEDIR);  // unless somebody is left in it
}

void NotificationCenter::Implementation::withdraw() {
  const std::lock_guard lock(setupMutex_);
  isWithdrawn_ = true;
  if (!socket_) return;
  for (const std::string& name : linkedNames_) folders_->unlink(socketName_, name);
  folders_->removeSocket(socketName_);
  isEnding_ = true;
  socket_->close();
  if (receiver_.joinable())
    receiver_.join();  // at most one callback from its end, and those only queue
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
