#pragma once

#include <string>

#include "VCommons/Logging/DDLogMessage.h"

namespace corvane::DDLogFileFormatterDefault {

/// The line of a log file for a record with a timestamp: the time in the process's time zone to the
/// millisecond, two spaces, the text, a line feed unless the text ends with one. Safe from any
/// thread. "2024/03/05 14:07:09:123  (main: listen()) Read 12 bytes"
std::string lineOf(const DDLogMessage& message);

}  // namespace corvane::DDLogFileFormatterDefault
