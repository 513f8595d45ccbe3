#pragma once

#include <sys/types.h>

#include <string>

#include "Base/Result.h"

namespace corvane::Platform {

/// The container of group `identifier` below the directory `home`. Fails unless it is a directory
/// that belongs to `owner` and that neither group nor others may write to; the text says which of
/// these it is not. Safe from any thread.
Result<std::string> groupContainerBelow(const std::string& home, const std::string& identifier,
                                        uid_t owner);

namespace GroupContainers {

/// Where the container of group `identifier` lies or would lie for the effective user, whether or
/// not there is one and whatever it is. Fails when `homeDirectory` does and when `identifier` is no
/// name for a directory. Blocks for up to 5 s if a name service must be asked. Safe from any
/// thread.
Result<std::string> locationOf(const std::string& identifier);

/// The home directory of the effective user, as the user database has it. Fails with `notFound`
/// when it has none, with another cause when it can't be read or a name service does not find the
/// user. Blocks as `locationOf` does. Safe from any thread.
Result<std::string> homeDirectory();

}  // namespace GroupContainers
}  // namespace corvane::Platform
