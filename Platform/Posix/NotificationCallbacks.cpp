#include "Platform/Posix/NotificationCallbacks.h"

#include <utility>

namespace corvane::Platform {

// A callback that goes is destroyed without the lock: with it goes what it holds.

void NotificationCallbacks::set(const std::string& name, Callback callback) {
  SharedCallback exchanged = std::make_shared<const Callback>(std::move(callback));
  const std::lock_guard lock(mutex_);
  callbacks_[name].swap(exchanged);
}

void NotificationCallbacks::remove(const std::string& name) {
  SharedCallback removed;
  const std::lock_guard lock(mutex_);
  if (const auto found = callbacks_.find(name); found != callbacks_.end()) {
    removed = std::move(found->second);
    callbacks_.erase(found);
  }
}

void NotificationCallbacks::awaitEnd(const std::string& name) {
  std::unique_lock lock(mutex_);
  if (runningName_ == name && runningThread_ == std::this_thread::get_id()) return;
  callbackEnded_.wait(lock, [&] { return runningName_ != name; });
}

void NotificationCallbacks::deliver(std::string_view name) {
  SharedCallback callback;
  {
    const std::lock_guard lock(mutex_);
    const auto found = callbacks_.find(name);
    if (found == callbacks_.end()) return;
    callback = found->second;
    runningName_ = name;
    runningThread_ = std::this_thread::get_id();
  }
  (*callback)();
  callback.reset();
  {
    const std::lock_guard lock(mutex_);
    runningName_.clear();
  }
  callbackEnded_.notify_all();
}

}  // namespace corvane::Platform
