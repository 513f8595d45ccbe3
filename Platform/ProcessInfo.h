#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace corvane::Platform::ProcessInfo {

/// The full path of the executable of process `processIdentifier`, at most 4095 bytes, or nothing:
/// no such process, not permitted, too long. An executable that was replaced while it runs keeps
/// its old path.
std::optional<std::string> executablePath(pid_t processIdentifier);

/// The process that started this one, or whoever took its place when it ended.
pid_t parent();

/// The name by which people know this program: the bundle identifier where there is one, else the
/// file name of the executable, else "".
std::string applicationName();

}  // namespace corvane::Platform::ProcessInfo
