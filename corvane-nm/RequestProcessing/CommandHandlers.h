#pragma once

#include <functional>
#include <optional>
#include <string>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiProtocol.h"
#include "corvane-nm/RequestProcessing/AppStateListener.h"
#include "corvane-nm/RequestProcessing/WorkingReply.h"

namespace corvane::RequestProcessing {

/// What the handlers need of the world. All of it must outlive them and is called from several
/// threads.
struct Environment {
  ExtensionBrowserApiProtocol& client;
  AppStateListener& appStateListener;
  std::function<bool()> isMainAppRunning;
  std::function<bool()>
      launchMainApp;  ///< starts it even if it runs; false when it can't be started
  std::function<std::string()>
      callerApplicationName;  ///< the browser's, as the main application knows it
};

/// What each command does. A handler starts on the request queue, returns as soon as it has
/// answered or started an operation of the main application's interface, and goes on in that
/// operation's reply. A command that changes the state waits in there for the announcement of the
/// change, and so holds up all later operations; a forced launch waits on the request queue.
class CommandHandlers {
 public:
  explicit CommandHandlers(Environment environment) : environment_(std::move(environment)) {}

  /// Whether the handler of `request` may wait before it returns: for the main application that it
  /// starts, or for the queue of the handlers of notifications.
  static bool mayWait(const Request& request);

  void getCurrentAppState(Work work);
  void init(Work work);
  void getCurrentFilteringState(Work work);
  void setProtectionStatus(Work work);
  void setFilteringStatus(Work work);
  void addRule(Work work);
  void removeRule(Work work);
  void removeCustomRules(Work work);
  void openOriginalCert(Work work);
  void reportSite(Work work);
  // These three need no parameters, so nothing is missing when a request has none.
  void openFilteringLog(Work work);
  void openSettings(Work work);
  void updateApp(Work work);

 private:
  using Protocol = ExtensionBrowserApiProtocol;
  using OwnStep = UniqueFunction<void(Work)>;

  [[nodiscard]] AppState defaultState() const;
  void preset(WorkingReply& work);
  void finish(Work work);
  void withMainAppState(Work work, OwnStep ownStep);
  void answerWithMainAppState(Work work);
  bool launchMainAppAndWait();
  Protocol::ErrorReply announced(Work work);
  void waitAppStateNotificationAndReply(Work work);
  void changeRule(Work work, void (Protocol::*operation)(const std::string&, Protocol::ErrorReply));
  void callBare(Work work, void (Protocol::*operation)(Protocol::ErrorReply));
  void askForFilteringState(Work work);

  Environment environment_;
  ReplySerial serial_;
};

}  // namespace corvane::RequestProcessing
