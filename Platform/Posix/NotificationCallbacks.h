#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace corvane::Platform {

/// What is to be called for each name of a notification. Its lock is held for a moment only, and
/// never during a callback or a system call. Safe from any thread; only one thread delivers.
class NotificationCallbacks {
 public:
  using Callback = std::function<void()>;

  /// Sets, or replaces, the callback of `name`.
  void set(const std::string& name, Callback callback);

  /// Removes the callback of `name`; one that runs goes on.
  void remove(const std::string& name);

  /// Returns when no callback of `name` runs; at once from that callback itself.
  void awaitEnd(const std::string& name);

  /// Runs the callback of `name`, if there is one.
  void deliver(std::string_view name);

 private:
  using SharedCallback = std::shared_ptr<const Callback>;

  std::mutex mutex_;  // guards all below
  std::map<std::string, SharedCallback, std::less<>> callbacks_;
  std::string runningName_;  // whose callback runs now; "" when none does
  std::thread::id runningThread_;
  std::condition_variable callbackEnded_;
};

}  // namespace corvane::Platform
