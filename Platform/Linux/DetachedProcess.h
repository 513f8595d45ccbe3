#pragma once

#include <string>
#include <vector>

namespace corvane::Platform {

/// Starts a program as nobody's child, in a session of its own: default signals, empty signal mask,
/// standard streams on /dev/null, no other descriptor, working folder `folder`, the environment of
/// this process. `arguments` begins with the program; one without a slash is looked for where the
/// system keeps programs. True when the program runs, false when it could not be started. Safe from
/// any thread.
bool startDetached(const std::vector<std::string>& arguments, const std::string& folder);

}  // namespace corvane::Platform
