#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

/// What kind of message one is: one bit each.
enum class DDLogFlag : std::uint64_t { error = 1, warning = 2, info = 4, debug = 8, verbose = 16 };

/// Which kinds pass: a mask of flags.
enum class DDLogLevel : std::uint64_t {
  off = 0,
  error = 1,
  warning = 3,
  info = 7,
  debug = 15,
  verbose = 31,
  all = UINT64_MAX,
};

/// The same bits as a level, and a level's bits as flags; nothing is converted.
constexpr DDLogLevel toLogLevel(DDLogFlag flag) {
  return DDLogLevel(flag);
}
constexpr DDLogFlag logFlagFrom(DDLogLevel level) {
  return DDLogFlag(level);
}

/// Bits of DDLogMessage::options.
enum class DDLogMessageOptions : unsigned { copyFile = 1, copyFunction = 2 };

/// One log record. Whoever hands it over gives it away.
struct DDLogMessage {
  std::string message;      ///< the finished text, without a line feed at its end
  std::uint64_t level = 0;  ///< the library-wide level at the time of the call
  DDLogFlag flag = DDLogFlag::error;
  std::int64_t context = 0;
  std::string file;  ///< as the caller gave it; both are copies of the record's own
  std::string function;
  std::uint64_t line = 0;
  std::shared_ptr<const void> tag;
  unsigned options =
      unsigned(DDLogMessageOptions::copyFile) | unsigned(DDLogMessageOptions::copyFunction);
  std::optional<std::chrono::system_clock::time_point>
      timestamp;  ///< none: the dispatcher stamps it
};

}  // namespace corvane
