#include "Platform/SystemLog.h"

#include <os/log.h>

namespace corvane::Platform::SystemLog {
namespace {

/// By `Severity`.
constexpr os_log_type_t types[] = {OS_LOG_TYPE_ERROR, OS_LOG_TYPE_DEFAULT, OS_LOG_TYPE_INFO,
                                   OS_LOG_TYPE_DEBUG};

}  // namespace

void write(Severity severity, std::string_view text) {
  // Public: else the log would show "<private>" in place of the text.
  os_log_with_type(OS_LOG_DEFAULT, types[static_cast<int>(severity)], "%{public}.*s",
                   static_cast<int>(text.size()), text.data());
}

}  // namespace corvane::Platform::SystemLog
