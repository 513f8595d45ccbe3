#include "tools/corvane-main-app/Application.h"

#include <optional>

#include "Platform/Clocks.h"
#include "Platform/Container/ApplicationRegistration.h"
#include "Platform/RunningApplications.h"
#include "SharedComponents/Configuration.h"
#include "tools/corvane-main-app/ContainerFolder.h"
#include "tools/corvane-main-app/ErrorOutput.h"
#include "tools/corvane-main-app/OnlyInstance.h"
#include "tools/corvane-main-app/Vocabulary.h"

namespace corvane::MainApp {
namespace {

using Platform::ApplicationRegistration;
using Platform::EventLoop;
using Platform::NotificationCenter;

/// Observes requests and second starts from now on; later ones are not lost.
bool listen(Application& application) {
  const auto secondStart = [&application] { application.announcer.started(Platform::steadyNow()); };
  return application.exchange.listen() &&
         application.center.observe(notificationName("ready"), secondStart);
}

/// Runs as the one instance in `container` until it is told to end.
int runInstance(Application& application, const std::string& container, const Options& options,
                int input, Clock::time_point start,
                const std::function<void(Application*)>& changed) {
  for (const std::string& fault : options.faults) {
    if (auto added = application.faults.add(fault); !added) return fail("--fault", added.failure());
  }
  if (!listen(application)) return refuse("requests can't be heard; the system log says why");
  if (auto cleared = application.requests.clear(); !cleared)
    return fail("request file", cleared.failure());
  application.responses.removeOld(Platform::wallNow());
  auto registration = ApplicationRegistration::make(
      container, Configuration::MainAppBundleIdentifier, application.center);
  if (!registration) return fail("registration", registration.failure());
  if (options.heedsSignals && !application.signals.start())
    return refuse("commands and signals can't be heard");
  application.controls.start(input);
  application.output.line("ready");
  application.announcer.started(start);
  if (changed) changed(&application);
  application.loop.turnUntil(Clock::time_point::max());
  if (changed) changed(nullptr);
  return 0;
}

/// Becomes the instance. If another one runs, makes it announce its state and returns nothing. If
/// that one announces but is no longer registered, it is ending: waits and replaces it.
Result<std::optional<OnlyInstance>> becomeInstance(const std::string& container, EventLoop& loop,
                                                   NotificationCenter& center) {
  auto claimed = OnlyInstance::claim(container);
  if (!claimed || claimed.value()) return claimed;
  if (haveStateAnnounced(loop, center)) {
    const Platform::RunningApplications applications(loop, container, center);
    const auto instances = applications.instancesOf(Configuration::MainAppBundleIdentifier);
    if (instances && instances.value() > 0) return claimed;
    return OnlyInstance::await(container);
  }
  claimed = OnlyInstance::claim(container);  // it may have ended meanwhile
  if (!claimed || claimed.value()) return claimed;
  return Failure{FailureCause::wouldBlock, "another instance runs and does not announce its state"};
}

}  // namespace

Application::Application(const Options& options, const std::string& container, EventLoop& theLoop,
                         NotificationCenter& theCenter, Platform::BrowserDescriptors streams)
    : loop(theLoop),
      center(theCenter),
      endsWithInput(!options.isDaemon && isHeldBySomebody(streams.input)),
      output(streams.output, options.prints),
      state(options.locale),
      level(container, center),
      responses(container + "/Data"),
      requests(container + "/Data"),
      controls(loop, {[this](const std::string& line) { commands.run(line); },
                      [this] {
                        if (endsWithInput) loop.endTurn();
                      }}),
      signals(loop, [this] { loop.endTurn(); }) {}

int run(const Options& options, Platform::BrowserDescriptors streams, Clock::time_point start,
        const std::function<void(Application*)>& changed) {
  const auto container = makeContainer(options.container);
  if (!container) return fail("container", container.failure());
  EventLoop loop;
  NotificationCenter center(loop, container.value());
  auto instance = becomeInstance(container.value(), loop, center);
  int status = 0;
  if (!instance) {
    status = fail("start", instance.failure());
  } else if (instance.value()) {
    Application application(options, container.value(), loop, center, streams);
    status = runInstance(application, container.value(), options, streams.input, start, changed);
    application.announcer.finish();  // no longer registered: hosts can see that it is ending
  }
  center.withdraw();
  return status;
}

}  // namespace corvane::MainApp
