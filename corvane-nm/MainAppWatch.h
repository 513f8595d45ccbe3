#pragma once

#include <atomic>
#include <functional>

#include "corvane-nm/BrowserChannel.h"

namespace corvane {

/// Tells the browser unasked when the main application says that its state has changed. Created
/// once and never destroyed.
class MainAppWatch {
 public:
  /// `process` takes a request like one of the browser's; `send` writes a frame and is called on
  /// the main queue; `isMainAppRunning` looks anew at each call.
  MainAppWatch(BrowserChannel::Processor process, std::function<void(const JsonObject&)> send,
               std::function<bool()> isMainAppRunning);

  /// From now on `appState` calls raiseAppSate() and `appReconfig` calls prepare().
  void registerHandlers();

  /// Notes whether the main application runs, for telling later that it has quit.
  void takeFirstCount();

  /// Asks for the application state and pushes the answer to the browser, under an identifier of
  /// its own in place of a request's. Returns at once. Safe from any thread.
  void raiseAppSate();

  /// Applies the log level that the main application has set.
  static void prepare();

 private:
  const BrowserChannel::Processor process_;
  const std::function<void(const JsonObject&)> send_;
  const std::function<bool()> isMainAppRunning_;
  std::atomic<bool> mainAppWasRunning_{false};
};

}  // namespace corvane
