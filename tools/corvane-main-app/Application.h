#pragma once

#include <functional>
#include <string>

#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"
#include "Platform/StandardStreams.h"
#include "tools/corvane-main-app/Announcer.h"
#include "tools/corvane-main-app/ApplicationState.h"
#include "tools/corvane-main-app/Commands.h"
#include "tools/corvane-main-app/ControlInput.h"
#include "tools/corvane-main-app/EndSignals.h"
#include "tools/corvane-main-app/Exchange.h"
#include "tools/corvane-main-app/Faults.h"
#include "tools/corvane-main-app/LogLevel.h"
#include "tools/corvane-main-app/Options.h"
#include "tools/corvane-main-app/Output.h"
#include "tools/corvane-main-app/RequestFile.h"
#include "tools/corvane-main-app/ResponseFiles.h"

namespace corvane::MainApp {

/// The one instance that runs in a container: all its objects. On the loop's thread.
struct Application {
  /// `container`: its full path. The loop and the center must outlive this object, and the
  /// descriptors must stay open as long.
  Application(const Options& options, const std::string& container, Platform::EventLoop& theLoop,
              Platform::NotificationCenter& theCenter, Platform::BrowserDescriptors streams);

  Platform::EventLoop& loop;
  Platform::NotificationCenter& center;
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
  ControlInput controls;
  EndSignals signals;
};

/// Runs the application that was started at `start`, with a loop of its own, until it is told to
/// end: reads commands from `streams` and answers there. Where another instance runs already, has
/// that one announce its state and returns. Calls `changed` with the instance when that is ready,
/// and with nullptr when it has ended its last turn. Returns the exit status: 0, or 1 after a line
/// on standard error.
int run(const Options& options, Platform::BrowserDescriptors streams, Clock::time_point start,
        const std::function<void(Application*)>& changed = {});

}  // namespace corvane::MainApp
