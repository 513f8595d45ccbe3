#pragma once

#include <string>

#include "Base/Result.h"
#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform::ApplicationLauncher {

/// Starts the application `bundleIdentifier`, even if it is running. Calls `answer` once, on `loop`
/// and after this call has returned: with true if the application was started, with false if it is
/// not installed, if its program cannot be executed, or if the outcome is not known within
/// TimeLimits::appState. Does not wait until the application is ready. The reason of a failure goes
/// to the system log.
///
/// The application inherits no descriptors or signal settings and is not a child of this process.
/// `loop` must outlive the answer. Must be called on the loop's thread; blocks it for up to 5 s if
/// a name service must be asked for the home directory.
void launch(EventLoop& loop, const std::string& bundleIdentifier,
            UniqueFunction<void(bool isStarted)> answer);

/// Succeeds if `launch` would find the application and a program that may be executed; otherwise
/// the text of the failure names what is missing. Starts nothing. Blocks as `launch` does.
/// Thread-safe.
Result<Done> check(const std::string& bundleIdentifier);

}  // namespace corvane::Platform::ApplicationLauncher
