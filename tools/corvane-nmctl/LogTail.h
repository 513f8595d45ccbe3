#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace corvane::Nmctl {

/// The last `count` lines of the logs in `folder`, oldest first; none when there are none. Lines
/// that are no log lines (the further lines of a text with several) are left out.
std::vector<std::string> lastLogLines(const std::string& folder, std::size_t count);

/// Whether a log line tells of an error, going by its words: the lines do not bear their level.
bool tellsOfError(const std::string& line);

}  // namespace corvane::Nmctl
