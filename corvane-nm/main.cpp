#include <functional>
#include <string>
#include <utility>

#include "Base/TimeLimits.h"
#include "Platform/ApplicationLauncher.h"
#include "Platform/EventLoop.h"
#include "Platform/HardStop.h"
#include "Platform/Heap.h"
#include "Platform/StandardStreams.h"
#include "SharedComponents/Configuration.h"
#include "SharedComponents/SharedResources.h"
#include "VCommons/VCLLogger.h"
#include "corvane-nm/BrowserChannel.h"
#include "corvane-nm/MainAppWatch.h"
#include "corvane-nm/RequestProcessing/AppStateListener.h"
#include "corvane-nm/RequestProcessing/CallerApplication.h"
#include "corvane-nm/RequestProcessing/RequestProcessing.h"

namespace corvane {
namespace {

/// All objects of the host. Made once and never destroyed: leaving `main` while something is still
/// pending is safe so.
struct Host {
  explicit Host(Platform::BrowserDescriptors browser)
      : channel(loop, browser.input, browser.output, process,
                {TimeLimits::runLoopSlice, TimeLimits::runLoopSlice, TimeLimits::lastRead}) {}

  Platform::EventLoop loop;
  RequestProcessing::CallerApplication caller;
  SharedResources shared{loop};
  RequestProcessing::AppStateListener listener{loop, shared.signalling(), TimeLimits::appState};
  RequestProcessing::Processor processor{
      loop,
      {shared.client(), shared.workOrder(), listener, [this] { return watch.isMainAppRunning(); },
       [this](UniqueFunction<void(bool)> answer) {
         Platform::ApplicationLauncher::launch(loop, Configuration::MainAppBundleIdentifier,
                                               std::move(answer));
       },
       [this] { return caller.name(shared.runningApplications()); }}};
  const BrowserChannel::Processor process = [this](RequestProcessing::Request request,
                                                   BrowserChannel::Reply reply) {
    processor.process(std::move(request), std::move(reply));
  };
  BrowserChannel channel;
  MainAppWatch watch{shared, channel, process};
};

void startLogging(SharedResources& shared) {
  VCLLogger& logger = VCLLogger::singleton();
  const auto& logs = shared.logsUrl();
  if (!logs) Platform::hardStop("the shared logs folder is unavailable: " + shared.logsFailure());
  logger.initLogger(*logs + "/corvane-nm");
}

void applyStoredLogLevel(const SharedResources& shared) {
  const auto outcome = shared.pickUpLogLevel();
  if (!outcome) Platform::hardStop(outcome.failure().text);
}

/// The start-up order, all of it before the first message is read.
void run(Host& host) {
  startLogging(host.shared);
  host.watch.registerHandlers();
  applyStoredLogLevel(host.shared);
  host.watch.takeFirstCount();
  host.watch.observeMainApp();
  host.channel.listen();
}

}  // namespace
}  // namespace corvane

/// Reads neither arguments nor the environment. Lives until the browser closes standard input.
int main() {
  using namespace corvane;  // NOLINT(google-build-using-namespace)
  Platform::shareOneHeap();
  const auto browser = Platform::claimStandardStreams();
  Platform::stopHardOnUncaughtExceptions();
  if (!browser)
    Platform::hardStop("the standard streams cannot be set up: " + browser.failure().text);
  Platform::ignoreSignalsOfWrites();
  static auto& host = *new Host(*browser);  // reachable to the end, as it is never destroyed
  run(host);
  VCLLogger::singleton().flushWithin(TimeLimits::lastLogLines);
  host.shared.withdraw();
  return 0;
}
