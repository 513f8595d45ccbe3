#pragma once

#include <chrono>
#include <map>

#include "Base/UniqueFunction.h"

namespace corvane::MainApp {

using Clock = std::chrono::steady_clock;

/// The loop of the main thread, where everything that the application does is done: tasks of the
/// main queue, and tasks that are due at a moment. One per process; main thread only.
class MainLoop {
 public:
  using Task = UniqueFunction<void()>;

  /// Runs `task` at `due`, or soon after it.
  void at(Clock::time_point due, Task task);

  /// Turns the loop until `end`.
  void run();

  /// Ends the loop once the tasks that were queued before have run. What is due later never runs.
  void end();

 private:
  void runDue();

  std::multimap<Clock::time_point, Task> tasks_;
  bool isEnding_ = false;
};

}  // namespace corvane::MainApp
