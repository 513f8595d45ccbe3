#pragma once

#include <string>
#include <string_view>

namespace corvane::Platform::SystemLog {

/// How serious a record is; mapped to the levels of the system's log.
enum class Severity { error, warning, info, debug };

/// Writes one record to the system's log under the name of the process. Never blocks: a record that
/// the log does not accept at once is dropped, and without a system log this is a no-op. Never
/// writes to the standard streams. Thread-safe.
void write(Severity severity, std::string_view text);

}  // namespace corvane::Platform::SystemLog
