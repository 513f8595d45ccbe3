#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "VCommons/Logging/DDLogMessage.h"
#include "VCommons/VCommonsKit/LogFormat.h"

/// The logging facade. `VCLogCDebug({"corvane-nm/main", "listen()"}, "Read %@ bytes", 12)` writes
/// "(main: listen()) Read 12 bytes". A suppressed message costs two reads and two tests; nothing is
/// formatted, and no object is asked for its text. All operations are safe from any thread, return
/// nothing and do not fail. Formats are those of formatLogText; a caller whose format does not suit
/// its arguments gets a text nevertheless.
///
/// Errors are in every sink when the call returns, after all earlier messages; the others are
/// queued.
namespace corvane {

/// Where a message comes from. The texts are given by hand so that lines name operations by the
/// words by which the documentation knows them; they must outlive the call. "%" in them counts as
/// part of the format.
struct LogPoint {
  constexpr LogPoint(const char* fileText, const char* functionText,
                     std::uint32_t lineNumber = __builtin_LINE())
      : file(fileText), function(functionText), line(lineNumber) {}

  const char* file;      ///< source path without extension, such as "corvane-nm/main"
  const char* function;  ///< operation with its labels, such as "process(_:)"
  std::uint32_t line;
};

/// The library-wide level: a mask of DDLogFlag, the first gate of every message. VCLLogger sets it.
inline std::atomic<std::uint64_t> ddLogLevel{static_cast<std::uint64_t>(DDLogLevel::verbose)};

/// The facade's own level, the second gate, under two names.
inline std::atomic<std::uint64_t> dynamicLogLevel{static_cast<std::uint64_t>(DDLogLevel::all)};
inline std::atomic<std::uint64_t>& defaultDebugLevel = dynamicLogLevel;

/// Set it back to all.
void resetDynamicLogLevel();
void resetDefaultDebugLevel();

/// Whether messages that are not errors are queued (true) or written before the call returns.
inline std::atomic<bool> asyncLoggingEnabled{true};

/// The last component of a path, cut before its last "."; "logs/RequestProcessing.txt" is
/// RequestProcessing.
std::string_view currentFileName(std::string_view path);
inline std::string_view CurrentFileName(std::string_view path) {
  return currentFileName(path);
}

namespace detail {

inline bool passesLibraryLevel(DDLogFlag flag) {
  return (ddLogLevel.load(std::memory_order_relaxed) & static_cast<std::uint64_t>(flag)) != 0;
}

inline bool passesGates(DDLogFlag flag) {
  return passesLibraryLevel(flag) &&
         (dynamicLogLevel.load(std::memory_order_relaxed) & static_cast<std::uint64_t>(flag)) != 0;
}

/// Behind the gates. `receiver`: the object that logs, or null for the free functions.
void logText(DDLogFlag flag, const LogPoint& point, const void* receiver, const char* format,
             std::initializer_list<LogArgument> arguments);
void logTrace(DDLogFlag flag, const LogPoint& point, const void* receiver);
void logLibraryText(DDLogFlag flag, const LogPoint& point, const void* object, const char* format,
                    std::initializer_list<LogArgument> arguments);

template <class... A>
void gatedText(DDLogFlag flag, const LogPoint& point, const void* receiver, const char* format,
               const A&... arguments) {
  if (passesGates(flag)) logText(flag, point, receiver, format, {LogArgument(arguments)...});
}

inline void gatedTrace(DDLogFlag flag, const LogPoint& point, const void* receiver) {
  if (passesGates(flag)) logTrace(flag, point, receiver);
}

}  // namespace detail

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

/// Traces: that an operation was entered, "Debug trace - main: prepare()". The verbose one begins
/// "Trace - ".
inline void VCLogCVerboseTrace(const LogPoint& point) {
  detail::gatedTrace(DDLogFlag::verbose, point, nullptr);
}
inline void VCLogCDebugTrace(const LogPoint& point) {
  detail::gatedTrace(DDLogFlag::debug, point, nullptr);
}
inline void VCLogCErrorTrace(const LogPoint& point) {
  detail::gatedTrace(DDLogFlag::error, point, nullptr);
}

/// The form of the support library's own messages, "(File[0x7f00] method) text": gated by
/// `ddLogLevel` alone, queued whenever it is no error. `object` is the one that logs.
template <class... A>
void VCLogLibrary(DDLogFlag flag, const LogPoint& point, const void* object, const char* format,
                  const A&... arguments) {
  if (!detail::passesLibraryLevel(flag)) return;
  detail::logLibraryText(flag, point, object, format, {LogArgument(arguments)...});
}

/// Classes that derive from it log with their own address in the text:
/// "(RequestProcessing[0x00007f0000001000] process(_:)) text".
class VCLog {
 public:
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

  /// These two carry no address and hand their arguments on as one list: the first conversion gets
  /// the whole list, "(1, two)", any further one has no argument. Kept for those who read the
  /// lines.
  template <class... A>
  void VCLogInfo(const LogPoint& point, const char* format, const A&... arguments) const {
    gatedList(DDLogFlag::info, point, format, arguments...);
  }
  template <class... A>
  void VCLogWarn(const LogPoint& point, const char* format, const A&... arguments) const {
    gatedList(DDLogFlag::warning, point, format, arguments...);
  }

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
  template <class... A>
  static void gatedList(DDLogFlag flag, const LogPoint& point, const char* format,
                        const A&... arguments) {
    if (!detail::passesGates(flag)) return;
    const std::initializer_list<LogArgument> list = {LogArgument(arguments)...};
    detail::logText(flag, point, nullptr, format, {LogArgument({list.begin(), list.size()})});
  }
};

}  // namespace corvane
