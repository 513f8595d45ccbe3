#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "Base/Result.h"

namespace corvane::Platform {

/// Runs a program as `startDetached` does, but with an empty environment, in the root directory,
/// and returns what it writes to standard output. Blocks until the output ends. Fails if the
/// program can't be started, if the output does not end within `limit`, and if it is longer than
/// `most` bytes. How the program ends is not known; a second after `limit` the system ends it.
/// Thread-safe.
Result<std::string> outputOf(const std::vector<std::string>& arguments, std::chrono::seconds limit,
                             std::size_t most);

}  // namespace corvane::Platform
