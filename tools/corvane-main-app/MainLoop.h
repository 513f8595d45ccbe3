#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Base/UniqueFunction.h"
#include "Platform/NotificationMailbox.h"

namespace corvane::MainApp {

using Clock = std::chrono::steady_clock;

/// The loop of the main thread, where everything that the application does is done: tasks that
/// others post, tasks that are due at a moment, and what a notification sets off. Main thread only,
/// but for `post`.
class MainLoop {
 public:
  using Task = UniqueFunction<void()>;

  /// `center` must outlive it.
  explicit MainLoop(Platform::NotificationCenter& center) : mailbox_(center) {}

  /// Runs `task` soon. Safe from any thread.
  void post(Task task);

  /// Runs `task` at `due`, or soon after it.
  void at(Clock::time_point due, Task task);

  /// Calls `heard` from now on after notifications `name`: once or more after the last of them. One
  /// name. False when the system gives no means to hear it.
  bool hear(const std::string& name, std::function<void()> heard);

  /// Turns the loop until `end`.
  void run();

  /// Ends the loop once this turn is done. What is due later never runs.
  void end() { isEnding_ = true; }

 private:
  void waitForNotification();
  void runPosted();
  void runDue();

  Platform::NotificationMailbox mailbox_;
  std::string name_;
  std::function<void()> heard_;

  std::mutex mutex_;  // guards what was posted
  std::vector<Task> posted_;

  std::multimap<Clock::time_point, Task> tasks_;
  bool isEnding_ = false;
};

}  // namespace corvane::MainApp
