#pragma once

#include <sys/types.h>

#include <string>

#include "Base/Result.h"

namespace corvane::Platform {

/// Returns the home directory of `user` from the user database. Fails with `notFound` if the
/// database has no entry for the user or no home directory in it, and with another cause if it
/// can't be read or a name service does not find the user. Blocks for up to 5 s if a name service
/// must be asked.
///
/// Never uses $HOME: sandboxes change the environment of the programs that a browser starts, and
/// the host must find the same directory as the main application. Thread-safe.
Result<std::string> homeDirectoryOf(uid_t user);

}  // namespace corvane::Platform
