#pragma once

#include <string>
#include <string_view>

namespace corvane::Platform::SystemLog {

enum class Severity { error, warning, info, debug };

/// Writes one record to the system's log under the process's name; without a system log it does
/// nothing. Never writes to the standard streams. Safe from any thread.
void write(Severity severity, std::string_view text);

}  // namespace corvane::Platform::SystemLog
