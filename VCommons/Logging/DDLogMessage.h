#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

/// The severity of one message: exactly one bit.
enum class DDLogFlag : std::uint64_t { error = 1, warning = 2, info = 4, debug = 8, verbose = 16 };

/// Which messages pass: a mask of flags. The named levels include all more severe flags; any other
/// mask is valid, too.
enum class DDLogLevel : std::uint64_t {
  off = 0,
  error = 1,
  warning = 3,
  info = 7,
  debug = 15,
  verbose = 31,
  all = UINT64_MAX,
};

/// Reinterprets the bits of `flag` as a level: `info` gives 4, which is not `DDLogLevel::info`.
constexpr DDLogLevel toLogLevel(DDLogFlag flag) {
  return DDLogLevel(flag);
}
/// Reinterprets the bits of `level` as flags; the result may have several bits set.
constexpr DDLogFlag logFlagFrom(DDLogLevel level) {
  return DDLogFlag(level);
}

/// Bits of DDLogMessage::options: which strings the record owns rather than borrows.
enum class DDLogMessageOptions : unsigned { copyFile = 1, copyFunction = 2 };

/// One log record: a value that owns all its strings, so it may cross threads. The sinks of this
/// folder read `message`, `flag` and `timestamp`; the other fields are for sinks of other users.
struct DDLogMessage {
  std::string message;      ///< the finished text, without a line feed at its end
  std::uint64_t level = 0;  ///< the library-wide level at the time of the call, a mask of flags
  DDLogFlag flag = DDLogFlag::error;
  std::int64_t context = 0;  ///< free for the caller
  std::string file;          ///< source file as the caller gave it, extension or not
  std::string function;
  std::uint64_t line = 0;           ///< counted from 1; 0: unknown
  std::shared_ptr<const void> tag;  ///< free for the caller; null: none
  unsigned options =
      unsigned(DDLogMessageOptions::copyFile) | unsigned(DDLogMessageOptions::copyFunction);
  std::optional<std::chrono::system_clock::time_point>
      timestamp;  ///< none: the dispatcher stamps it
};

}  // namespace corvane
