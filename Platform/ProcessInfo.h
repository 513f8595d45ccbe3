#pragma once

#include <sys/types.h>

#include <string>

#include "Base/Result.h"

namespace corvane::Platform::ProcessInfo {

/// The full path of the executable of process `processIdentifier`, at most 4095 bytes. Fails with
/// `notFound` when there is no such process, `notPermitted` when this one may not ask,
/// `malformed` when the path is longer, and otherwise when it can't be known now. An executable
/// that was replaced while it runs keeps its old path.
Result<std::string> executablePath(pid_t processIdentifier);

/// The process that started this one, or whoever took its place when it ended.
pid_t parent();

/// The name by which people know this program: the bundle identifier where there is one, else the
/// file name of the executable, else "".
std::string applicationName();

}  // namespace corvane::Platform::ProcessInfo
