#include "corvane-nm/Host.h"

#include <utility>

#include "Base/TimeLimits.h"
#include "Platform/ApplicationLauncher.h"
#include "Platform/HardStop.h"
#include "SharedComponents/Configuration.h"

namespace corvane {
namespace {

void applyStoredLogLevel(const SharedResources& shared) {
  const auto outcome = shared.pickUpLogLevel();
  if (!outcome) Platform::hardStop(outcome.failure().text);
}

}  // namespace

Host::Host(Platform::BrowserDescriptors browser)
    : listener(loop, shared.signalling(), TimeLimits::appState),
      processor(loop, {shared.client(), shared.workQueue(), listener,
                       [this] { return watch.isMainAppRunning(); },
                       [this](UniqueFunction<void(bool)> answer) {
                         Platform::ApplicationLauncher::launch(
                             loop, Configuration::MainAppBundleIdentifier, std::move(answer));
                       },
                       [this] { return caller.name(shared.runningApplications()); }}),
      process([this](RequestProcessing::Request&& request, BrowserChannel::Reply&& reply) {
        processor.process(std::move(request), std::move(reply));
      }),
      channel(loop, browser.input, browser.output, process,
              {TimeLimits::runLoopSlice, TimeLimits::runLoopSlice, TimeLimits::lastRead}) {}

void Host::run() {
  watch.registerHandlers();
  applyStoredLogLevel(shared);
  watch.takeFirstCount();
  watch.observeMainApp();
  channel.listen();
}

}  // namespace corvane
