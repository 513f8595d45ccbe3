#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

/// Names for the files of one process in a directory that many processes share: "<process
/// identifier>.<16 hexadecimal digits>". The digits are random, because process identifiers are
/// reused. Thread-safe.
namespace corvane::Platform::ProcessFileName {

/// Returns a new name for this process, different at each call. Throws as randomBytes does.
std::string make();

/// Returns the process identifier in `name`, or nothing if `name` does not have this form.
std::optional<pid_t> processOf(std::string_view name);

/// Returns true if no process with the identifier `process` is visible from here. One in another
/// process namespace may exist all the same.
bool isGone(pid_t process);

}  // namespace corvane::Platform::ProcessFileName
