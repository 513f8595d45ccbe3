#include "corvane-nm/MainAppWatch.h"

#include <utility>

#include "Base/AtEnd.h"
#include "Platform/SystemLog.h"
#include "SharedComponents/Configuration.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

/// By this the extension tells a push from an answer.
const char* statePushIdentifier() {
  return "CVN_APP_STATE_RESPONSE_MESSAGE_"
         "FAKEID";
}

}  // namespace

MainAppWatch::MainAppWatch(SharedResources& shared, BrowserChannel& channel,
                           BrowserChannel::Processor process)
    : shared_(shared), channel_(channel), process_(std::move(process)) {
  channel_.onRoom([this] { pushIfOwed(); });
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
  const auto isRunning =
      shared_.runningApplications().isRunning(Configuration::MainAppBundleIdentifier);
  return isRunning ? isRunning.value() : mainAppWasRunning_;
}

/// What has changed since the first count counts as a change.
void MainAppWatch::observeMainApp() {
  const auto instances = shared_.runningApplications().observe(
      Configuration::MainAppBundleIdentifier, [this](int count) { checkRunning(count); });
  if (instances) checkRunning(*instances);
}

void MainAppWatch::checkRunning(int instances) {
  if (instances == 0 && mainAppWasRunning_) raiseAppSate();
  mainAppWasRunning_ = instances > 0;
}

void MainAppWatch::raiseAppSate() {
  if (mayPush()) return push();
  isPushOwed_ = true;
  if (std::exchange(isReported_, true)) return;
  VCLogCWarn({"corvane-nm/main", "raiseAppSate()"},
             "The state is announced faster than it can be pushed: %@ pushes are pending, "
             "announcements count as one for now",
             pendingPushes_);
}

bool MainAppWatch::mayPush() const {
  return pendingPushes_ <= mostPendingPushes && !channel_.isFull();
}

void MainAppWatch::push() {
  ++pendingPushes_;
  auto end = AtEnd([this] {
    --pendingPushes_;
    pushIfOwed();
  });
  process_({"getCurrentAppState", statePushIdentifier()},
           [this, end = std::move(end)](RequestProcessing::Response response) {
             response.requestId = statePushIdentifier();
             channel_.send(std::move(response), "raiseAppSate()");
           });
}

void MainAppWatch::pushIfOwed() {
  if (isPushOwed_ && mayPush()) {
    isPushOwed_ = false;
    push();
  } else if (pendingPushes_ == 0 && !channel_.isFull()) {
    isReported_ = false;
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
