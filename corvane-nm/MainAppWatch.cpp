#include "corvane-nm/MainAppWatch.h"

#include <utility>

#include "Base/ScopeExit.h"
#include "Platform/SystemLog.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

/// The request identifier of pushes; the extension recognises them by it.
const char* statePushIdentifier() {
  return "CVN_APP_STATE_RESPONSE_MESSAGE_"
         "FAKEID";
}

}  // namespace

MainAppWatch::MainAppWatch(SharedResources& shared, BrowserChannel& channel,
                           BrowserChannel::Processor process)
    : shared_(shared), channel_(channel), process_(std::move(process)) {
  channel_.onDrained([this] { pushDeferred(); });
}

void MainAppWatch::registerHandlers() {
  RequestSignalling& signalling = shared_.signalling();
  signalling.setHandler(RequestResponseName::appState, [this] { raiseAppSate(); });
  signalling.setHandler(RequestResponseName::appReconfig, [this] { prepare(); });
  signalling.installPending();
}

void MainAppWatch::takeFirstCount() {
  mainAppWasRunning_ = isMainAppRunning();
}

bool MainAppWatch::isMainAppRunning() {
  const auto isRunning = shared_.runningApplications().isRunning(mainApp_);
  return isRunning ? isRunning.value() : mainAppWasRunning_;
}

/// An application that has ended since the first count is reported now.
void MainAppWatch::observeMainApp() {
  const auto instances =
      shared_.runningApplications().observe(mainApp_, [this](int count) { checkRunning(count); });
  if (instances) checkRunning(*instances);
}

void MainAppWatch::checkRunning(int instances) {
  if (instances == 0 && mainAppWasRunning_) raiseAppSate();
  mainAppWasRunning_ = instances > 0;
}

void MainAppWatch::raiseAppSate() {
  if (mayPush()) return push();
  hasDeferredPush_ = true;
  if (std::exchange(isDeferralLogged_, true)) return;
  VCLogCWarn(
      {"corvane-nm/main", "raiseAppSate()"},
      "Announcements are merged into one push: %@ pushes and %@ bytes of replies are pending",
      pendingPushes_, channel_.unreadBytes());
}

bool MainAppWatch::mayPush() const {
  return pendingPushes_ <= maximumWaitingPushes && !channel_.isOutputFull();
}

void MainAppWatch::push() {
  ++pendingPushes_;
  auto end = ScopeExit([this] {
    --pendingPushes_;
    pushDeferred();
  });
  process_({"getCurrentAppState", statePushIdentifier()},
           [this, end = std::move(end)](RequestProcessing::Response&& response) {
             response.requestId = statePushIdentifier();
             channel_.send(std::move(response), "raiseAppSate()");
           });
}

void MainAppWatch::pushDeferred() {
  if (hasDeferredPush_ && mayPush()) {
    hasDeferredPush_ = false;
    push();
  } else if (pendingPushes_ == 0 && !channel_.isOutputFull()) {
    isDeferralLogged_ = false;
  }
}

void MainAppWatch::prepare() {
  VCLogCVerboseTrace({"corvane-nm/main", "prepare()"});
  const auto outcome = shared_.pickUpLogLevel();
  if (outcome) return;
  Platform::SystemLog::write(Platform::SystemLog::Severity::error,
                             "the log level stays: " + outcome.failure().text);
}

}  // namespace corvane
