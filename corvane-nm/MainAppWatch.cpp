#include "corvane-nm/MainAppWatch.h"

#include <utility>

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

MainAppWatch::MainAppWatch(SharedResources& shared, BrowserChannel::Processor process, Send send)
    : shared_(shared), process_(std::move(process)), send_(std::move(send)) {}

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
  process_({{"type", "getCurrentAppState"}, {"id", statePushIdentifier()}},
           [this](RequestProcessing::Response response) {
             response.requestId = statePushIdentifier();
             send_(std::move(response), "raiseAppSate()");
           });
}

void MainAppWatch::prepare() {
  VCLogCVerboseTrace({"corvane-nm/main", "prepare()"});
  const auto outcome = shared_.pickUpLogLevel();
  if (outcome) return;
  Platform::SystemLog::write(Platform::SystemLog::Severity::error,
                             "the log level stays: " + outcome.failure().text);
}

}  // namespace corvane
