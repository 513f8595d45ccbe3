#pragma once

#include <string>

namespace corvane::Platform::ApplicationLauncher {

/// Starts the application `bundleIdentifier`, whether or not it runs already, and says whether it
/// was started: false when it is not installed or its program can't be run. Waits until that is
/// known, not until the application is ready. The application is on its own from then on: it
/// inherits no descriptor and no signal setting of this process, and its end leaves nothing behind
/// here. Safe from any thread.
bool launch(const std::string& bundleIdentifier);

}  // namespace corvane::Platform::ApplicationLauncher
