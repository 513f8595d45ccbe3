#pragma once

#include <string>

#include "Base/Result.h"

namespace corvane::Platform::GroupContainers {

/// Returns the path of the directory that the programs of application group `identifier` share,
/// without a final slash. Fails if this user has none or if it can't be inspected; the text says
/// which. Thread-safe.
///
/// On Linux it must be a directory of the effective user that no other user may write to. Its path
/// depends on the user database, never on the environment. It is never created here. Blocks for up
/// to 5 s if a name service must be asked.
///
/// On macOS the system determines the path and who gets one: it names one to every program outside
/// a sandbox, whether or not the directory exists. The directory is created if it is missing; if
/// that fails, the path is returned all the same, and creating files in it will fail.
Result<std::string> directoryOf(const std::string& identifier);

}  // namespace corvane::Platform::GroupContainers
