#pragma once

#include <sys/types.h>

#include <string>

#include "Base/Result.h"

namespace corvane::Platform::ProcessInfo {

/// Returns the absolute path of the executable of process `processIdentifier`. Fails with
/// `notFound` if there is no such process, with `notPermitted` if this one may not know it, with
/// `malformed` if the path is longer than 4095 bytes, and with another cause if the system can't
/// tell for now. If the executable was replaced while it runs, the path is the one that it was
/// started from.
Result<std::string> executablePath(pid_t processIdentifier);

/// The parent process: the one that started this one or, if that has ended, the one that adopted
/// it.
pid_t parent();

/// The name of this program for its users: its bundle identifier if it has one, otherwise the file
/// name of its executable, "" if that is not known.
std::string applicationName();

}  // namespace corvane::Platform::ProcessInfo
