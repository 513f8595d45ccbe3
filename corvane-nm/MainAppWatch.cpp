#include "corvane-nm/MainAppWatch.h"

#include <string>
#include <utility>

#include "Platform/MainQueue.h"
#include "SharedComponents/SharedResources.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

/// By this the extension tells a push from an answer.
const char* statePushIdentifier() {
  return "CVN_APP_STATE_RESPONSE_MESSAGE_"
         "FAKEID";
}

}  // namespace

MainAppWatch::MainAppWatch(BrowserChannel::Processor process,
                           std::function<void(const JsonObject&)> send,
                           std::function<bool()> isMainAppRunning)
    : process_(std::move(process)),
      send_(std::move(send)),
      isMainAppRunning_(std::move(isMainAppRunning)) {}

void MainAppWatch::registerHandlers() {
  SharedResources::setHandler(SharedResources::RequestResponseName::appState,
                              [this] { raiseAppSate(); });
  SharedResources::setHandler(SharedResources::RequestResponseName::appReconfig, [] { prepare(); });
}

void MainAppWatch::takeFirstCount() {
  mainAppWasRunning_ = isMainAppRunning_();
}

void MainAppWatch::observeMainApp(Observe observe) {
  SharedResources::async([this, observe = std::move(observe)] {
    const auto instances = observe(
        [this](int count) { Platform::MainQueue::async([this, count] { changed(count); }); });
    Platform::MainQueue::async([this, instances] { observationBegan(instances); });
  });
}

/// What changes after the observation began may be told here before that is.
void MainAppWatch::changed(int instances) {
  if (isObserving_) {
    checkRunning(instances);
  } else {
    earlyChanges_.push_back(instances);
  }
}

void MainAppWatch::observationBegan(std::optional<int> instances) {
  isObserving_ = true;
  if (instances) checkRunning(*instances);
  for (const int early : std::exchange(earlyChanges_, {})) checkRunning(early);
}

void MainAppWatch::checkRunning(int instances) {
  if (instances == 0 && mainAppWasRunning_) raiseAppSate();
  mainAppWasRunning_ = instances > 0;
}

void MainAppWatch::raiseAppSate() {
  process_({{"type", "getCurrentAppState"}, {"id", statePushIdentifier()}},
           [this](const JsonObject& answer) {
             Platform::MainQueue::async([this, reply = ownCopy(answer)]() mutable {
               VCLogCDebug({"corvane-nm/main", "raiseAppSate()"}, "Response sending (count: %@)",
                           reply.size());
               reply["requestId"] = statePushIdentifier();
               send_(reply);
             });
           });
}

void MainAppWatch::prepare() {
  VCLogCVerboseTrace({"corvane-nm/main", "prepare()"});
  SharedResources::pickUpLogLevel();
}

}  // namespace corvane
