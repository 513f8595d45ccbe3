#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/corvane-nmctl/LogRecord.h"

namespace corvane::Nmctl {

/// The last `count` records of the logs in `folder`, oldest first, each with its first line only.
std::vector<LogRecord> lastLogLines(const std::string& folder, std::size_t count);

}  // namespace corvane::Nmctl
