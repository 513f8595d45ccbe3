#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

/// Names of what one process puts into a directory that many share: "<process identifier>.<16
/// hexadecimal digits>". The digits are random, as process identifiers come again. Safe from any
/// thread.
namespace corvane::Platform::ProcessFileName {

/// A new name for this process. Throws like randomBytes.
std::string make();

/// The process that `name` belongs to, or nothing when `name` is no such name.
std::optional<pid_t> processOf(std::string_view name);

/// Whether no process has the identifier `process`, as far as can be seen from here.
bool isGone(pid_t process);

}  // namespace corvane::Platform::ProcessFileName
