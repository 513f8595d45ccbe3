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
  using Send = std::function<void(RequestProcessing::Response, const char* function)>;

  /// `process` takes a request like one of the browser's; `send` sends a reply, named by the
  /// function that asked for it. `shared` must outlive this object, and this object the loop's last
  /// turn.
  MainAppWatch(SharedResources& shared, BrowserChannel::Processor process, Send send);

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
  /// its own in place of a request's. Returns at once.
  void raiseAppSate();

  /// Applies the stored log level. If it can't be read or is out of range, keeps the present level
  /// and writes an error to the system log; the next announcement reads it again.
  void prepare();

 private:
  void checkRunning(int instances);

  SharedResources& shared_;
  const BrowserChannel::Processor process_;
  const Send send_;
  bool mainAppWasRunning_ = false;  // when it was last known
};

}  // namespace corvane
