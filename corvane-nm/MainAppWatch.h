#pragma once

#include <functional>
#include <optional>
#include <string>

#include "SharedComponents/Configuration.h"
#include "SharedComponents/SharedResources.h"
#include "corvane-nm/BrowserChannel.h"

namespace corvane {

/// Tells the browser unasked when the main application announces that its state has changed, and
/// when it has quit. On the loop's thread.
class MainAppWatch {
 public:
  /// At most this many pushes wait behind the one whose exchange runs. Further announcements are
  /// merged into one push after them; it asks for the state after all of them, so none is lost.
  static constexpr int maximumWaitingPushes = 100;

  /// `process` takes a request like one of the browser's; the replies leave by `channel`. Both, and
  /// `shared`, must outlive this object, and this object the loop's last turn.
  MainAppWatch(SharedResources& shared, BrowserChannel& channel, BrowserChannel::Processor process);

  /// From now on `appState` calls raiseAppSate() and `appReconfig` calls prepare(). The handlers
  /// are installed when it returns.
  void registerHandlers();

  /// Notes whether the main application runs.
  void takeFirstCount();

  /// Whether the main application runs; when that can't be known for now, whether it ran last.
  bool isMainAppRunning();

  /// From now on raiseAppSate() is called once each time that the last instance has ended, counted
  /// from takeFirstCount().
  void observeMainApp();

  /// Asks for the application state and pushes the answer to the browser, under an identifier of
  /// its own in place of a request's. Returns at once. While too many pushes are pending or too
  /// many replies are unread, the push is deferred: one push then stands for all calls, and a log
  /// line says so.
  void raiseAppSate();

  /// Applies the stored log level. If it can't be read or is out of range, keeps the present level
  /// and writes an error to the system log; the next announcement reads it again.
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
  bool mainAppWasRunning_ = false;  // when it was last known
};

}  // namespace corvane
