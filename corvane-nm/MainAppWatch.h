#pragma once

#include <functional>
#include <optional>

#include "SharedComponents/SharedResources.h"
#include "corvane-nm/BrowserChannel.h"

namespace corvane {

/// Tells the browser unasked when the main application announces that its state has changed, and
/// when it has quit. On the loop's thread.
class MainAppWatch {
 public:
  /// So many pushes may be pending besides the one whose exchange runs. What is announced beyond
  /// that counts as one: the state is asked for after it, so nothing is lost.
  static constexpr int mostPendingPushes = 100;

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
  /// its own in place of a request's. Returns at once. When too many pushes are pending, or the
  /// browser leaves too much unread, it is done once for all such calls, as soon as that is over; a
  /// line in the log says so.
  void raiseAppSate();

  /// Applies the stored log level. If it can't be read or is out of range, keeps the present level
  /// and writes an error to the system log; the next announcement reads it again.
  void prepare();

 private:
  void checkRunning(int instances);
  void push();
  void pushIfOwed();
  [[nodiscard]] bool mayPush() const;

  SharedResources& shared_;
  BrowserChannel& channel_;
  const BrowserChannel::Processor process_;
  int pendingPushes_ = 0;
  bool isPushOwed_ = false;         // for what was announced while there was no room
  bool isReported_ = false;         // that there is none; until no push is pending
  bool mainAppWasRunning_ = false;  // when it was last known
};

}  // namespace corvane
