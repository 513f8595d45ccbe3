#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "VCommons/Logging/DDLogMessage.h"
#include "VCommons/VCommonsKit/LogFormat.h"

/// The logging facade. `VCLogCDebug({"corvane-nm/main", "listen()"}, "Read %@ bytes", 12)` logs
/// "(main: listen()) Read 12 bytes". Formats are those of formatLogText (LogFormat.h); a format
/// that does not suit its arguments still gives a line.
///
/// A message must pass two masks, `ddLogLevel` and `dynamicLogLevel`. One that does not costs at
/// most two relaxed reads and two comparisons: nothing is formatted, and no argument is asked for
/// its description (but the expressions of the call are evaluated, as for any function).
///
/// Thread-safe. Arguments are formatted before the call returns, so they need not outlive it.
/// Nothing is returned and nothing fails. An error is in every sink when the call returns, after
/// all earlier messages, except on the logging queue itself; other messages are queued
/// (`asyncLoggingEnabled`). `DDLog::shared()`, which takes the records, drops them as long as it
/// has no sinks.
namespace corvane {

/// Where a message comes from. The strings are written by hand, because log lines name operations
/// as the documentation does, not as C++ does. They must outlive the call. A "%" in them is read as
/// part of the format. The line number is that of the caller.
struct LogPoint {
  constexpr LogPoint(const char* fileText, const char* functionText,
                     std::uint32_t lineNumber = __builtin_LINE())
      : file(fileText), function(functionText), line(lineNumber) {}

  const char* file;      ///< source path without extension, such as "corvane-nm/main"
  const char* function;  ///< operation with its labels, such as "process(_:)"
  std::uint32_t line;
};

/// The library-wide level: a mask of DDLogFlag that every message must pass. VCLLogger sets it; any
/// thread may read it.
inline std::atomic<std::uint64_t> ddLogLevel{static_cast<std::uint64_t>(DDLogLevel::verbose)};

/// The facade's own level, a second mask of DDLogFlag. It has two names for one value; all bits are
/// set unless a user of the library narrows it.
inline std::atomic<std::uint64_t> dynamicLogLevel{static_cast<std::uint64_t>(DDLogLevel::all)};
inline std::atomic<std::uint64_t>& defaultDebugLevel = dynamicLogLevel;

/// Both set `dynamicLogLevel` to all again.
void resetDynamicLogLevel();
void resetDefaultDebugLevel();

/// Whether messages that are not errors are queued (true) or written before the call returns. The
/// latter makes each message wait for the disk.
inline std::atomic<bool> asyncLoggingEnabled{true};

/// The last component of a path without its extension (from the last "." on), as a view of `path`:
/// "logs/RequestProcessing.txt" gives "RequestProcessing". Two names for one function.
std::string_view currentFileName(std::string_view path);
inline std::string_view CurrentFileName(std::string_view path) {
  return currentFileName(path);
}

namespace detail {

/// Whether a message of severity `flag` passes `ddLogLevel`.
inline bool passesLibraryLevel(DDLogFlag flag) {
  return (ddLogLevel.load(std::memory_order_relaxed) & static_cast<std::uint64_t>(flag)) != 0;
}

/// Whether it passes both masks.
inline bool passesGates(DDLogFlag flag) {
  return passesLibraryLevel(flag) &&
         (dynamicLogLevel.load(std::memory_order_relaxed) & static_cast<std::uint64_t>(flag)) != 0;
}

/// Format and log a message that has passed the masks. `receiver` is the object that logs, or null
/// for the free functions. The library form shows `object` even if it is null.
void logText(DDLogFlag flag, const LogPoint& point, const void* receiver, const char* format,
             std::initializer_list<LogArgument> arguments);
void logTrace(DDLogFlag flag, const LogPoint& point, const void* receiver);
void logLibraryText(DDLogFlag flag, const LogPoint& point, const void* object, const char* format,
                    std::initializer_list<LogArgument> arguments);

/// Checks the masks inline, so that a suppressed message makes no call.
template <class... A>
void gatedText(DDLogFlag flag, const LogPoint& point, const void* receiver, const char* format,
               const A&... arguments) {
  if (passesGates(flag)) logText(flag, point, receiver, format, {LogArgument(arguments)...});
}

inline void gatedTrace(DDLogFlag flag, const LogPoint& point, const void* receiver) {
  if (passesGates(flag)) logTrace(flag, point, receiver);
}

}  // namespace detail

/// Log a message at the severity in the name, as "(File: function) text". Errors are written before
/// the call returns.
template <class... A>
void VCLogCVerbose(const LogPoint& point, const char* format, const A&... arguments) {
  detail::gatedText(DDLogFlag::verbose, point, nullptr, format, arguments...);
}
template <class... A>
void VCLogCDebug(const LogPoint& point, const char* format, const A&... arguments) {
  detail::gatedText(DDLogFlag::debug, point, nullptr, format, arguments...);
}
template <class... A>
void VCLogCInfo(const LogPoint& point, const char* format, const A&... arguments) {
  detail::gatedText(DDLogFlag::info, point, nullptr, format, arguments...);
}
template <class... A>
void VCLogCWarn(const LogPoint& point, const char* format, const A&... arguments) {
  detail::gatedText(DDLogFlag::warning, point, nullptr, format, arguments...);
}
template <class... A>
void VCLogCError(const LogPoint& point, const char* format, const A&... arguments) {
  detail::gatedText(DDLogFlag::error, point, nullptr, format, arguments...);
}

/// Log that an operation was entered: "Debug trace - main: prepare()". The line begins "Error
/// trace - ", "Debug trace - " or, for verbose, "Trace - ".
inline void VCLogCVerboseTrace(const LogPoint& point) {
  detail::gatedTrace(DDLogFlag::verbose, point, nullptr);
}
inline void VCLogCDebugTrace(const LogPoint& point) {
  detail::gatedTrace(DDLogFlag::debug, point, nullptr);
}
inline void VCLogCErrorTrace(const LogPoint& point) {
  detail::gatedTrace(DDLogFlag::error, point, nullptr);
}

/// Logs in the form of the support library's own messages, "(File[0x7f00] method) text". Checks
/// `ddLogLevel` only. Errors are written before the call returns, all others queued, whatever
/// `asyncLoggingEnabled` says. `object` is the one that logs.
template <class... A>
void VCLogLibrary(DDLogFlag flag, const LogPoint& point, const void* object, const char* format,
                  const A&... arguments) {
  if (!detail::passesLibraryLevel(flag)) return;
  detail::logLibraryText(flag, point, object, format, {LogArgument(arguments)...});
}

/// A base class for objects that log; adds the object's address to their lines:
/// "(RequestProcessing[0x00007f0000001000] process(_:)) text". Has no state; not meant for deletion
/// through a pointer to it.
class VCLog {
 public:
  /// As the free functions, with the address.
  template <class... A>
  void VCLogVerbose(const LogPoint& point, const char* format, const A&... arguments) const {
    detail::gatedText(DDLogFlag::verbose, point, this, format, arguments...);
  }
  template <class... A>
  void VCLogDebug(const LogPoint& point, const char* format, const A&... arguments) const {
    detail::gatedText(DDLogFlag::debug, point, this, format, arguments...);
  }
  template <class... A>
  void VCLogError(const LogPoint& point, const char* format, const A&... arguments) const {
    detail::gatedText(DDLogFlag::error, point, this, format, arguments...);
  }

  /// These two differ: their lines have no address, and all arguments are passed as one list, so
  /// the first conversion prints "(1, two)" and any further one "(null)". Kept for existing log
  /// readers.
  template <class... A>
  void VCLogInfo(const LogPoint& point, const char* format, const A&... arguments) const {
    gatedList(DDLogFlag::info, point, format, arguments...);
  }
  template <class... A>
  void VCLogWarn(const LogPoint& point, const char* format, const A&... arguments) const {
    gatedList(DDLogFlag::warning, point, format, arguments...);
  }

  /// As the free functions, with the address: "Trace - File[0x00007f0000001000]: prepare()".
  void VCLogVerboseTrace(const LogPoint& point) const {
    detail::gatedTrace(DDLogFlag::verbose, point, this);
  }
  void VCLogDebugTrace(const LogPoint& point) const {
    detail::gatedTrace(DDLogFlag::debug, point, this);
  }
  void VCLogErrorTrace(const LogPoint& point) const {
    detail::gatedTrace(DDLogFlag::error, point, this);
  }

 protected:
  ~VCLog() = default;

 private:
  /// The list lives on the stack of this call, and the text is made before it returns.
  template <class... A>
  static void gatedList(DDLogFlag flag, const LogPoint& point, const char* format,
                        const A&... arguments) {
    if (!detail::passesGates(flag)) return;
    const std::initializer_list<LogArgument> list = {LogArgument(arguments)...};
    detail::logText(flag, point, nullptr, format, {LogArgument({list.begin(), list.size()})});
  }
};

}  // namespace corvane
