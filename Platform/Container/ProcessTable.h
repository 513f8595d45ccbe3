#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "Base/Result.h"

/// What the system's table of processes and locks says. For tools on Linux. Thread-safe.
namespace corvane::Platform::ProcessTable {

/// Returns how long `process` has run, by a clock that goes on while the machine sleeps. Fails with
/// `notFound` if there is no such process.
Result<std::chrono::seconds> ageOf(pid_t process);

/// Returns the processes that hold a lock (flock(2)) on the file `path`, symbolic links followed.
/// Empty if there are none, or none that this process can see, such as those outside its container.
/// Fails if the file or the table can't be read.
Result<std::vector<pid_t>> lockHoldersOf(const std::string& path);

}  // namespace corvane::Platform::ProcessTable
