#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "VCommons/Logging/DDLogMessage.h"
#include "VCommons/VCSDate.h"

namespace corvane::Nmctl {

/// What a host wrote to a log file at once: a line, perhaps with further lines behind it.
struct LogRecord {
  VCSDate::Date time;
  DDLogFlag level = DDLogFlag::debug;
  std::string file;  ///< the name of the log file
  std::string text;  ///< as it stands there; a line feed between its lines, none at the end
  /// The text has no time: it goes on where that of the record before it in this file ended, whose
  /// time and level these are.
  bool isContinued = false;

  /// What of the text is time, on the clocks on the wall; "" when it has none.
  [[nodiscard]] std::string_view stamp() const;
  /// What of the text is no time.
  [[nodiscard]] std::string_view message() const;
};

/// The time at the beginning of a line, on the clocks on the wall as if they showed UTC; nothing
/// when the line begins no record.
std::optional<VCSDate::Date> wallTimeOf(std::string_view line);

/// Where the place in the program, "(File: function(_:))", at the beginning of a message ends; 0
/// when there is none.
std::size_t endOfPlace(std::string_view message);

/// The level of a message. Lines do not bear it: it is told by the words with which the host's
/// messages begin, and is debug where these are not known.
DDLogFlag levelOf(std::string_view message);

/// The name of a level: "error", "warning", "info", "debug", "verbose".
std::string_view nameOf(DDLogFlag level);

}  // namespace corvane::Nmctl
