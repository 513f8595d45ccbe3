#pragma once

namespace corvane::Platform {

/// Tells the system to write no core file and no crash report of this process, as far as a process
/// can say so. Async-signal-safe.
void suppressCrashReports();

/// Ends the process by a signal for which the system then writes neither.
[[noreturn]] void dieWithoutReport();

}  // namespace corvane::Platform
