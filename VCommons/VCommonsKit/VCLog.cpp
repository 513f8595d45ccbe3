#include "VCommons/VCommonsKit/VCLog.h"

#include <array>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "VCommons/Logging/DDLog.h"

namespace corvane {
namespace {

std::string addressText(const void* object) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), "0x%016llx",
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(object)));
  return text.data();
}

/// "main: " for a free function, "RequestProcessing[0x0000000000000000]" and `afterAddress` for an
/// object.
std::string placeText(const LogPoint& point, const void* receiver, std::string_view afterAddress) {
  std::string text(currentFileName(point.file));
  if (receiver == nullptr) {
    text += ": ";
  } else {
    text += '[';
    text += addressText(receiver);
    text += ']';
    text += afterAddress;
  }
  text += point.function;
  return text;
}

std::string_view leadingWords(DDLogFlag flag) {
  switch (flag) {
    case DDLogFlag::error:
      return "Error trace - ";
    case DDLogFlag::debug:
      return "Debug trace - ";
    default:
      return "Trace - ";
  }
}

void handOver(DDLogFlag flag, const LogPoint& point, bool asynchronously, std::string text) {
  DDLogMessage message;
  message.message = std::move(text);
  message.level = ddLogLevel.load(std::memory_order_relaxed);
  message.flag = flag;
  message.file = point.file;
  message.function = point.function;
  message.line = point.line;
  DDLog::shared().log(asynchronously && flag != DDLogFlag::error, std::move(message));
}

std::span<const LogArgument> spanOf(std::initializer_list<LogArgument> list) {
  return {list.begin(), list.size()};
}

}  // namespace

void resetDynamicLogLevel() {
  dynamicLogLevel = static_cast<std::uint64_t>(DDLogLevel::all);
}
void resetDefaultDebugLevel() {
  resetDynamicLogLevel();
}

std::string_view currentFileName(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  if (slash != std::string_view::npos) path.remove_prefix(slash + 1);
  return path.substr(0, path.rfind('.'));
}

namespace detail {

void logText(DDLogFlag flag, const LogPoint& point, const void* receiver, const char* format,
             std::initializer_list<LogArgument> arguments) {
  const std::string effective = "(" + placeText(point, receiver, " ") + ") " + format;
  handOver(flag, point, asyncLoggingEnabled, formatLogText(effective, spanOf(arguments)));
}

void logTrace(DDLogFlag flag, const LogPoint& point, const void* receiver) {
  std::string text(leadingWords(flag));
  text += placeText(point, receiver, ": ");
  handOver(flag, point, asyncLoggingEnabled, std::move(text));
}

void logLibraryText(DDLogFlag flag, const LogPoint& point, const void* object, const char* format,
                    std::initializer_list<LogArgument> arguments) {
  std::vector<LogArgument> all = {LogArgument(currentFileName(point.file)), LogArgument(object),
                                  LogArgument(point.function)};
  all.insert(all.end(), arguments.begin(), arguments.end());
  handOver(flag, point, true, formatLogText(std::string("(%@[%p] %@) ") + format, all));
}

}  // namespace detail
}  // namespace corvane
