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

/// What the handlers need of the rest of the host. All of it must outlive them.
struct Environment {
  ExtensionBrowserApiProtocol& client;
  SerialQueue& workQueue;  ///< that of the client's exchanges
  AppStateListener& appStateListener;
  std::function<bool()> isMainAppRunning;
  /// Starts it even if it runs; its argument gets false when it can't be started.
  std::function<void(UniqueFunction<void(bool)>)> launchMainApp;
  /// The browser's, as the main application knows it.
  std::function<std::string()> callerApplicationName;
};

/// What each command does. A handler starts in the order of the requests, returns as soon as it has
/// answered or started an operation of the main application's interface, and goes on in that
/// operation's reply. A command that changes the state waits in there for the announcement of the
/// change, and holds up all later exchanges meanwhile; a forced launch holds up all later commands.
///
/// Each step is a function that owns the `Work` and hands it to its continuation. A continuation
/// that is destroyed uncalled takes the work with it, and with the work its holds and its
/// interception of the signal. The handlers outlive all continuations.
class CommandHandlers {
 public:
  /// `requests` is the order in which handlers start.
  CommandHandlers(Environment environment, SerialQueue& requests)
      : environment_(std::move(environment)), requests_(requests) {}

  /// Starts the handler of the work's command.
  void start(Work work);

 private:
  using Protocol = ExtensionBrowserApiProtocol;
  using NextStep = UniqueFunction<void(Work)>;

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

  [[nodiscard]] AppState defaultState() const;
  void presetResponse(WorkingReply& work);
  void finish(Work work);
  void withMainAppState(Work work, NextStep ownStep);
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
