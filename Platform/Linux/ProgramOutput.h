#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "Base/Result.h"

namespace corvane::Platform {

/// Runs a program as `startDetached` does, in the root directory and with an empty environment, and
/// returns what it writes to standard output. Blocks until it closes the output, for `limit` at
/// most. Fails if the program can't be started, if the output does not end within `limit`, and with
/// `malformed` if it is longer than `most` bytes. The exit status is not known. A program that is
/// still running one second after `limit` is ended by SIGALRM. Thread-safe.
Result<std::string> outputOf(const std::vector<std::string>& arguments, std::chrono::seconds limit,
                             std::size_t most);

}  // namespace corvane::Platform
