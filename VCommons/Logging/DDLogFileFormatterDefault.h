#pragma once

#include <string>

#include "VCommons/Logging/DDLogMessage.h"

namespace corvane::DDLogFileFormatterDefault {

/// The line of a log file for a record: its timestamp in the process's time zone to the
/// millisecond, two spaces, the text, and a line feed unless the text ends with one. A record
/// without a timestamp is dated 1970; a time that the C library can't convert, year 1. Thread-safe.
/// "2024/03/05 14:07:09:123  (main: listen()) Read 12 bytes"
std::string lineOf(const DDLogMessage& message);

}  // namespace corvane::DDLogFileFormatterDefault
