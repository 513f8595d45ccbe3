#pragma once

#include <functional>
#include <optional>
#include <string>

#include "SharedComponents/Configuration.h"
#include "SharedComponents/SharedResources.h"
#include "corvane-nm/BrowserChannel.h"

namespace corvane {

/// Pushes the state of the main application to the browser, unasked, when the main application
/// announces a change and when its last instance has ended. Also applies changes of the log level.
/// All functions and callbacks run on the loop's thread and return at once.
class MainAppWatch {
 public:
  /// How many pushes may wait behind the one whose exchange is running. Further announcements are
  /// merged into one push after them. It reads the state when it runs, so no change is missed.
  static constexpr int maximumWaitingPushes = 100;

  /// `process` is called with requests like those of the browser; their replies go to `channel`.
  /// Sets `channel`'s onDrained callback. `shared` and `channel` must outlive this object, and this
  /// object the loop's last turn.
  MainAppWatch(SharedResources& shared, BrowserChannel& channel, BrowserChannel::Processor process);

  /// Installs handlers: the notification `appState` calls raiseAppSate(), `appReconfig` calls
  /// prepare(). Both are in effect when it returns.
  void registerHandlers();

  /// Records whether the main application runs, as the base for observeMainApp().
  void takeFirstCount();

  /// Whether the main application runs; if the system can't tell for now, the last known answer.
  bool isMainAppRunning();

  /// From now on calls raiseAppSate() once each time that the last instance has ended; at once if
  /// that happened since takeFirstCount(). If the system can't observe for now, the observation
  /// starts as soon as it can.
  void observeMainApp();

  /// Asks for the application state and pushes the reply to the browser, with a fixed identifier in
  /// place of a request's. Returns at once. While too many pushes are pending or too many replies
  /// are unread, the push is deferred: later, one push is made for all calls. A log line says so.
  void raiseAppSate();

  /// Applies the stored log level. If it can't be read or is out of range, the present level stays,
  /// and an error in the system log says why; the next `appReconfig` tries again.
  void prepare();

 private:
  void checkRunning(int instances);
  void push();
  void pushDeferred();
  [[nodiscard]] bool mayPush() const;

  const std::string mainApp_ = Configuration::MainAppBundleIdentifier;
  SharedResources& shared_;
  BrowserChannel& channel_;
  const BrowserChannel::Processor process_;
  int pendingPushes_ = 0;
  bool hasDeferredPush_ = false;
  bool isDeferralLogged_ = false;   // reset when no push is pending
  bool mainAppWasRunning_ = false;  // the last known answer
};

}  // namespace corvane
