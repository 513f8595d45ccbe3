#pragma once

#include <functional>
#include <string>
#include <utility>

#include "Base/UniqueFunction.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiProtocol.h"
#include "VCommons/VCommonsKit/SerialQueue.h"
#include "corvane-nm/RequestProcessing/AppStateListener.h"
#include "corvane-nm/RequestProcessing/WorkingReply.h"

namespace corvane::RequestProcessing {

/// What the handlers use of the rest of the host; a test passes its own. All of it must outlive the
/// handlers and their continuations. Everything is called on the loop's thread.
struct Environment {
  ExtensionBrowserApiProtocol& client;
  SerialQueue& workQueue;  ///< the queue of the client's exchanges
  AppStateListener& appStateListener;
  /// Whether the main application runs, or ran when that was last known.
  std::function<bool()> isMainAppRunning;
  /// Starts the main application, even if it runs. Calls its argument once, later, with false if it
  /// can't be started.
  std::function<void(UniqueFunction<void(bool)>)> launchMainApp;
  /// Returns the name by which the main application knows the browser.
  std::function<std::string()> callerApplicationName;
};

/// The handlers, one for each command. A handler starts when its request is the first in the queue
/// of requests, calls an operation of the main application's interface or replies at once, and
/// returns; it goes on in the operation's reply. So handlers start in order, but their exchanges
/// may alternate, and replies may come in another order.
///
/// Two kinds of handlers delay others: a command that changes the state holds the queue of
/// exchanges until the main application announces the change; a forced launch holds the queue of
/// requests until the main application announces its state. Both waits have a limit.
///
/// Each step is a function that owns the `Work` and moves it into its continuation. A continuation
/// that is destroyed uncalled destroys the work, so the request gets no reply, and with it its
/// holds and its interception of the notification. The handlers must outlive all continuations. On
/// the loop's thread.
class CommandHandlers {
 public:
  /// `requests` is the queue in which handlers start.
  CommandHandlers(Environment environment, SerialQueue& requests)
      : environment_(std::move(environment)), requests_(requests) {}

  /// Starts the handler of the work's command. Call it in the queue of requests.
  void start(Work work);

 private:
  using Protocol = ExtensionBrowserApiProtocol;
  using NextStep = UniqueFunction<void(Work)>;

  // One handler per command, or for several that differ in the operation only.
  void init(Work work);
  void getCurrentAppState(Work work);
  void getCurrentFilteringState(Work work);
  void setProtectionStatus(Work work);
  void setFilteringStatus(Work work);
  void removeCustomRules(Work work);
  void changeRule(Work work, void (Protocol::*operation)(const std::string&, Protocol::ErrorReply));
  void openOriginalCert(Work work);
  void reportSite(Work work);
  void callWithoutParameters(Work work, void (Protocol::*operation)(Protocol::ErrorReply));

  // The steps that handlers share.
  [[nodiscard]] AppState defaultState() const;
  void presetResponse(WorkingReply& work);
  void finish(Work work);
  void withMainAppState(Work work, NextStep next);
  void answerWithMainAppState(Work work);
  void launchMainAppAndWait(Work work, NextStep next);
  Protocol::ErrorReply finalReply(Work work);
  void waitAppStateNotificationAndReply(Work work);
  void askForFilteringState(Work work);

  Environment environment_;
  SerialQueue& requests_;
  ReplySerial serial_;
};

}  // namespace corvane::RequestProcessing
