#pragma once

#include <sys/types.h>

#include <string>

#include "Base/Result.h"

namespace corvane::Platform {

/// The container of group `identifier` below the folder `home`. Fails unless it is a directory that
/// belongs to `owner` and that neither group nor others may write to; the text says which of these
/// it is not. Safe from any thread.
Result<std::string> groupContainerBelow(const std::string& home, const std::string& identifier,
                                        uid_t owner);

}  // namespace corvane::Platform
