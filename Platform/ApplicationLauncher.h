#pragma once

#include <string>

#include "Base/Result.h"
#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform::ApplicationLauncher {

/// Starts the application `bundleIdentifier`, even if it is running. Calls `answer` once, later, on
/// `loop`: true if it was started, false if it is not installed, if its program cannot be executed,
/// or if that is not known within TimeLimits::appState. Does not wait until the application is
/// ready. The application inherits no descriptors or signal settings and is not a child of this
/// process. `loop` must outlive the answer. Blocks for up to 5 s if a name service must be asked
/// for the home. On the loop's thread.
void launch(EventLoop& loop, const std::string& bundleIdentifier,
            UniqueFunction<void(bool isStarted)> answer);

/// Succeeds if `launch` would find the application and a program that may be executed; the failure
/// says what is missing. Starts nothing. Blocks as `launch` does.
Result<Done> check(const std::string& bundleIdentifier);

}  // namespace corvane::Platform::ApplicationLauncher
