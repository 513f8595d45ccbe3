#include "Platform/SystemLog.h"

#include <paths.h>
#include <syslog.h>

#include "Platform/Linux/SystemLogSocket.h"
#include "Platform/ProcessInfo.h"

namespace corvane::Platform::SystemLog {
namespace {

int priorityOf(Severity severity) {
  switch (severity) {
    case Severity::error:
      return LOG_USER | LOG_ERR;
    case Severity::warning:
      return LOG_USER | LOG_WARNING;
    case Severity::info:
      return LOG_USER | LOG_INFO;
    case Severity::debug:
      return LOG_USER | LOG_DEBUG;
  }
  return LOG_USER | LOG_DEBUG;
}

}  // namespace

void write(Severity severity, std::string_view text) {
  static auto& socket = *new SystemLogSocket(_PATH_LOG, ProcessInfo::applicationName());
  socket.send(priorityOf(severity), text);
}

}  // namespace corvane::Platform::SystemLog
