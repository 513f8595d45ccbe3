#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace corvane::Platform {

/// The container of group `identifier` below the folder `home`, or nothing unless it is a folder
/// that belongs to `owner` and that neither group nor others may write to. Safe from any thread.
std::optional<std::string> groupContainerBelow(const std::string& home,
                                               const std::string& identifier, uid_t owner);

}  // namespace corvane::Platform
