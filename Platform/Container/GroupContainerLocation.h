#pragma once

#include <sys/types.h>

#include <string>

#include "Base/Result.h"

namespace corvane::Platform {

/// Returns the path of the container of group `identifier` in the home directory `home`. Fails
/// unless it is a directory that belongs to `owner` and that neither group nor others may write to;
/// the text of the failure names the condition that is not met. Thread-safe.
Result<std::string> groupContainerBelow(const std::string& home, const std::string& identifier,
                                        uid_t owner);

namespace GroupContainers {

/// Returns the path that the container of group `identifier` has, or would have, for the effective
/// user; it need not exist. Fails if `homeDirectory` fails or `identifier` can't be the name of a
/// directory. Blocks for up to 5 s if a name service must be asked. Thread-safe.
Result<std::string> locationOf(const std::string& identifier);

/// Returns `homeDirectoryOf` for the effective user, with its failures. Blocks as `locationOf`
/// does. Thread-safe.
Result<std::string> homeDirectory();

}  // namespace GroupContainers
}  // namespace corvane::Platform
