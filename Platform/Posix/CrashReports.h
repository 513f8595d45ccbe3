#pragma once

namespace corvane::Platform {

/// Asks the system to write no core file and no crash report for this process, as far as a process
/// can. Cannot be undone. Failures are ignored. Async-signal-safe.
void suppressCrashReports();

/// Ends the process by a signal for which the system writes neither, given the call above. Runs no
/// destructors and no handlers.
[[noreturn]] void dieWithoutReport();

}  // namespace corvane::Platform
