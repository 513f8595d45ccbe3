#pragma once

#include <string_view>

namespace corvane::Platform {

/// Ends the process at once, by a signal and, as far as a process can say so, without a core file
/// or crash report, after one line that says why in the system log and on standard error. Never
/// blocks: the line is dropped where it is not taken at once. For the few states in which the host
/// cannot do anything right: what a caller could answer or log is never a hard stop. Nothing
/// reaches standard output. Safe from any thread.
[[noreturn]] void hardStop(std::string_view why);

/// From now on an exception that nobody catches (no memory, no thread) is a hard stop that says so.
void stopHardOnUncaughtExceptions();

}  // namespace corvane::Platform
