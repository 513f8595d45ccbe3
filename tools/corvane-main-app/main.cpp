#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Container/ApplicationRegistration.h"
#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"
#include "Platform/RunningApplications.h"
#include "Platform/StandardStreams.h"
#include "tools/corvane-main-app/Commands.h"
#include "tools/corvane-main-app/ContainerFolder.h"
#include "tools/corvane-main-app/ControlInput.h"
#include "tools/corvane-main-app/OnlyInstance.h"
#include "tools/corvane-main-app/Options.h"
#include "tools/corvane-main-app/Vocabulary.h"

namespace corvane::MainApp {
namespace {

using Platform::ApplicationRegistration;
using Platform::EventLoop;
using Platform::NotificationCenter;

int fail(const std::string& what, const Failure& failure) {
  std::cerr << "corvane-main-app: " << what << ": " << failure.description() << '\n';
  return 1;
}

int refuse(const std::string& what) {
  std::cerr << "corvane-main-app: " << what << '\n';
  return 1;
}

/// The one instance that runs.
struct Application {
  Application(const Options& options, const std::string& container, EventLoop& theLoop,
              NotificationCenter& theCenter, Platform::BrowserDescriptors streams)
      : loop(theLoop),
        center(theCenter),
        endsWithInput(!options.isDaemon && isHeldBySomebody(streams.input)),
        output(streams.output, options.prints),
        state(options.locale),
        level(container, center),
        responses(container + "/Data", faults),
        requests(container + "/Data", faults) {}

  EventLoop& loop;
  NotificationCenter& center;
  const bool endsWithInput;
  const Output output;
  Faults faults;
  Announcer announcer{center, loop};
  ApplicationState state;
  LogLevel level;
  ResponseFiles responses;
  RequestFile requests;
  const Surroundings surroundings{center, loop, announcer, state, faults, output};
  Exchange exchange{requests, responses, surroundings};
  Commands commands{surroundings, exchange, level};
  ControlInput controls{loop,
                        {[this](const std::string& line) { commands.run(line); },
                         [this] {
                           if (endsWithInput) loop.endTurn();
                         },
                         [this] { loop.endTurn(); }}};
};

/// Hears from now on of requests, which are not lost then, and of second starts.
bool listen(Application& application) {
  const auto secondStart = [&application] { application.announcer.started(Clock::now()); };
  return application.exchange.listen() &&
         application.center.observe(notificationName("ready"), secondStart);
}

/// Runs as the one instance in `container` until it is told to end.
int runInstance(Application& application, const std::string& container, const Options& options,
                int input, Clock::time_point start) {
  for (const std::string& fault : options.faults) {
    if (auto added = application.faults.add(fault); !added) return fail("--fault", added.failure());
  }
  if (!listen(application)) return refuse("requests can't be heard; the system log says why");
  if (auto cleared = application.requests.clear(); !cleared)
    return fail("request file", cleared.failure());
  application.responses.removeOld(std::chrono::system_clock::now());
  auto registration = ApplicationRegistration::make(
      container, Configuration::MainAppBundleIdentifier, application.center);
  if (!registration) return fail("registration", registration.failure());
  if (!application.controls.start(input)) return refuse("commands and signals can't be heard");
  application.output.line("ready");
  application.announcer.started(start);
  application.loop.turnUntil(Clock::time_point::max());
  return 0;
}

/// Becomes the one instance, or has the one that runs announce its state; nothing then. One that
/// announces and does not count as running any more is ending: its place is taken.
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

int run(const Options& options, Platform::BrowserDescriptors streams, Clock::time_point start) {
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
    status = runInstance(application, container.value(), options, streams.input, start);
    application.announcer.finish();  // not registered any more: whoever asks learns that it ends
  }
  center.withdraw();
  return status;
}

int run(const std::vector<std::string>& arguments) {
  const auto start = Clock::now();
  const auto streams = Platform::claimStandardStreams();
  if (!streams) return refuse("the standard streams can't be set up");
  Platform::ignoreSignalsOfWrites();
  const auto options = readOptions(arguments);
  if (!options) return fail("usage", options.failure());
  if (options->asksForHelp) {
    Output(streams->output, false).line(usage);
    return 0;
  }
  return run(options.value(), *streams, start);
}

}  // namespace
}  // namespace corvane::MainApp

int main(int count, char** arguments) {
  try {
    return corvane::MainApp::run({arguments + 1, arguments + count});
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "corvane-main-app: %s\n", exception.what());
    return 1;
  }
}
