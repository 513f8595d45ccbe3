#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "Base/TimeLimits.h"
#include "Platform/ApplicationLauncher.h"
#include "Platform/HardStop.h"
#include "Platform/Heap.h"
#include "Platform/StandardStreams.h"
#include "SharedComponents/Configuration.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"
#include "SharedComponents/SharedResources.h"
#include "VCommons/VCLLogger.h"
#include "corvane-nm/BrowserChannel.h"
#include "corvane-nm/Leaving.h"
#include "corvane-nm/MainAppWatch.h"
#include "corvane-nm/RequestProcessing/AppStateListener.h"
#include "corvane-nm/RequestProcessing/CallerApplication.h"
#include "corvane-nm/RequestProcessing/RequestProcessing.h"

namespace corvane {
namespace {

void startLogging() {
  VCLLogger& logger = VCLLogger::singleton();
  const auto& logs = SharedResources::logsUrl();
  if (!logs) {
    Platform::hardStop("the shared logs folder is unavailable: " + SharedResources::logsFailure());
  }
  logger.initLogger(*logs + "/corvane-nm");
}

bool isMainAppRunning() {
  static const auto& identifier = *new std::string(Configuration::MainAppBundleIdentifier);
  return SharedResources::runningApplications().isRunning(identifier);
}

bool launchMainApp() {
  return Platform::ApplicationLauncher::launch(Configuration::MainAppBundleIdentifier);
}

std::optional<int> observeMainApp(std::function<void(int instances)> changed) {
  return SharedResources::runningApplications().observe(Configuration::MainAppBundleIdentifier,
                                                        std::move(changed));
}

std::string callerApplicationName() {
  return RequestProcessing::callerApplicationName(SharedResources::runningApplications());
}

RequestProcessing::Processor& requestProcessor() {
  static const auto& client =
      *new std::shared_ptr<ExtensionBrowserApiClient>(ExtensionBrowserApiClient::make());
  static auto& listener =
      *new RequestProcessing::AppStateListener(SharedResources::signalling(), TimeLimits::appState);
  static auto& processor = *new RequestProcessing::Processor(
      {*client, listener, isMainAppRunning, launchMainApp, callerApplicationName});
  return processor;
}

void process(JsonObject message, BrowserChannel::Reply reply) {
  requestProcessor().process(std::move(message), std::move(reply));
}

void run(Platform::BrowserDescriptors browser) {
  auto& channel = *new BrowserChannel(
      browser.input, browser.output, process,
      {TimeLimits::runLoopSlice, TimeLimits::runLoopSlice, TimeLimits::lastFrame},
      SharedResources::resume, Leaving::leaveNow);
  auto& watch = *new MainAppWatch(
      process, [&channel](const JsonObject& state) { channel.send(state); }, isMainAppRunning);
  startLogging();
  SharedResources::suspend();  // the first reply needs nothing of what is queued there now
  watch.registerHandlers();
  SharedResources::pickUpLogLevel();
  // Announced before it could be heard: the handlers are installed on that queue, too.
  SharedResources::async(SharedResources::pickUpChangedLogLevel);
  watch.takeFirstCount();
  watch.observeMainApp(observeMainApp);
  channel.listen();
}

}  // namespace
}  // namespace corvane

/// Reads neither arguments nor the environment. Lives until the browser closes standard input.
int main() {
  corvane::Platform::shareOneHeap();
  const auto browser = corvane::Platform::claimStandardStreams();
  corvane::Platform::stopHardOnUncaughtExceptions();
  if (!browser) corvane::Platform::hardStop("the standard streams cannot be set up");
  corvane::Platform::ignoreSignalsOfWrites();
  corvane::run(*browser);
  corvane::Leaving::prepare();
  return 0;
}
