#pragma once

#include <string>

#include "Base/Result.h"
#include "Base/UniqueFunction.h"

namespace corvane::Platform {

/// Shows `name`, shortened to what the system allows, for the calling thread in debuggers.
void nameThisThread(const std::string& name);

/// Runs `body` on a new thread, named `name`, that nothing waits for. Fails, with `body` destroyed
/// uncalled, when the system starts no more threads.
Result<Done> startThread(const std::string& name, UniqueFunction<void()> body);

}  // namespace corvane::Platform
