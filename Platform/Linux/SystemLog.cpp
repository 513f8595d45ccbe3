#include "Platform/SystemLog.h"

#include <syslog.h>

#include <algorithm>
#include <limits>

namespace corvane::Platform::SystemLog {
namespace {

int priorityOf(Severity severity) {
  switch (severity) {
    case Severity::error:
      return LOG_ERR;
    case Severity::warning:
      return LOG_WARNING;
    case Severity::info:
      return LOG_INFO;
    case Severity::debug:
      return LOG_DEBUG;
  }
  return LOG_DEBUG;
}

/// Without a name of ours the records bear the program's. True, for a static.
bool openOnce() {
  ::openlog(nullptr, LOG_PID, LOG_USER);
  return true;
}

}  // namespace

void write(Severity severity, std::string_view text) {
  static const bool isOpen = openOnce();
  if (!isOpen) return;
  const auto length = static_cast<int>(std::min<std::size_t>(
      text.size(), static_cast<std::size_t>(std::numeric_limits<int>::max())));
  ::syslog(priorityOf(severity), "%.*s", length, text.data());
}

}  // namespace corvane::Platform::SystemLog
