#pragma once

#include <sys/types.h>

#include <string>

#include "Base/Result.h"

namespace corvane::Platform {

/// The home directory of `user` as the user database has it. Fails with `notFound` when it has no
/// entry for the user or no home directory in it, with another cause when it can't be read or a
/// name service does not find the user. Blocks for up to 5 s where a name service is asked. Never
/// $HOME: sandboxes change the environment of what a browser starts, and the main application must
/// be met all the same. Safe from any thread.
Result<std::string> homeDirectoryOf(uid_t user);

}  // namespace corvane::Platform
