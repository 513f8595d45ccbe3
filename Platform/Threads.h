#pragma once

#include <string>

#include "Base/Result.h"
#include "Base/UniqueFunction.h"

namespace corvane::Platform {

/// Names the calling thread for debuggers and process lists. The name is cut to what the system
/// allows (15 bytes on Linux).
void nameThisThread(const std::string& name);

/// Runs `body` on a new, detached thread named `name`, and destroys it there when it returns. The
/// thread is never joined and ends with the process, so whatever `body` refers to must live until
/// then. Fails if the system starts no more threads; `body` is then destroyed uncalled.
/// Thread-safe.
Result<Done> startThread(const std::string& name, UniqueFunction<void()> body);

}  // namespace corvane::Platform
