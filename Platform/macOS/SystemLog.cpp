#include "Platform/SystemLog.h"

#include <os/log.h>

namespace corvane::Platform::SystemLog {
namespace {

os_log_type_t typeOf(Severity severity) {
  switch (severity) {
    case Severity::error:
      return OS_LOG_TYPE_ERROR;
    case Severity::warning:
      return OS_LOG_TYPE_DEFAULT;
    case Severity::info:
      return OS_LOG_TYPE_INFO;
    case Severity::debug:
      return OS_LOG_TYPE_DEBUG;
  }
  return OS_LOG_TYPE_DEBUG;
}

}  // namespace

void write(Severity severity, std::string_view text) {
  // Public: else the log would show "<private>" in place of the text.
  os_log_with_type(OS_LOG_DEFAULT, typeOf(severity), "%{public}.*s", static_cast<int>(text.size()),
                   text.data());
}

}  // namespace corvane::Platform::SystemLog
