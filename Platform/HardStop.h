#pragma once

#include <string_view>

namespace corvane::Platform {

/// Ends the process at once by a signal, after writing the reason `why` as one line to the system
/// log and to standard error. Never blocks: where the line can't be written at once, it is dropped.
/// Nothing is written to standard output. Asks the system for no core file and no crash report, as
/// far as a process can.
///
/// Only for states in which the host cannot continue correctly; whatever a caller can answer or log
/// must be a Failure instead. Runs no destructors. Thread-safe.
[[noreturn]] void hardStop(std::string_view why);

/// From now on an uncaught exception, such as std::bad_alloc, is a hard stop whose reason is the
/// text of the exception. Call it once, at the start.
void stopHardOnUncaughtExceptions();

}  // namespace corvane::Platform
