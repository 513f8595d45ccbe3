#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "corvane-nm/BrowserChannel.h"

namespace corvane {

/// Tells the browser unasked when the main application says that its state has changed, and when it
/// has quit. Created once and never destroyed.
class MainAppWatch {
 public:
  /// Gives how many instances of the main application run, and from then on calls `changed` after
  /// each change of that; nothing when it can't. See Platform::RunningApplications::observe.
  using Observe = std::function<std::optional<int>(std::function<void(int instances)> changed)>;

  /// `process` takes a request like one of the browser's; `send` writes a frame and is called on
  /// the main queue; `isMainAppRunning` looks anew at each call.
  MainAppWatch(BrowserChannel::Processor process, std::function<void(const JsonObject&)> send,
               std::function<bool()> isMainAppRunning);

  /// From now on `appState` calls raiseAppSate() and `appReconfig` calls prepare().
  void registerHandlers();

  /// Notes whether the main application runs. On the main thread.
  void takeFirstCount();

  /// From now on raiseAppSate() is called on the main queue once each time that the last instance
  /// has ended, counted from takeFirstCount(). `observe` is called on the queue of the handlers, so
  /// that the first frame is read and answered beside it.
  void observeMainApp(Observe observe);

  /// Asks for the application state and pushes the answer to the browser, under an identifier of
  /// its own in place of a request's. Returns at once. Safe from any thread.
  void raiseAppSate();

  /// Applies the log level that the main application has set.
  static void prepare();

 private:
  void changed(int instances);
  void observationBegan(std::optional<int> instances);
  void checkRunning(int instances);

  const BrowserChannel::Processor process_;
  const std::function<void(const JsonObject&)> send_;
  const std::function<bool()> isMainAppRunning_;

  // Main thread only.
  bool mainAppWasRunning_ = false;
  bool isObserving_ = false;
  std::vector<int> earlyChanges_;
};

}  // namespace corvane
