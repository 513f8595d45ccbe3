#include "VCommons/Logging/DDOSLogger.h"

namespace corvane {
namespace {

Platform::SystemLog::Severity severityOf(DDLogFlag flag) {
  using Platform::SystemLog::Severity;
  switch (flag) {
    case DDLogFlag::error:
      return Severity::error;
    case DDLogFlag::warning:
      return Severity::warning;
    case DDLogFlag::info:
      return Severity::info;
    default:
      return Severity::debug;
  }
}

}  // namespace

std::shared_ptr<DDOSLogger> DDOSLogger::sharedInstance() {
  static auto& instance = *new std::shared_ptr<DDOSLogger>(std::make_shared<DDOSLogger>());
  return instance;
}

void DDOSLogger::log(const DDLogMessage& message) {
  write_(severityOf(message.flag), message.message);
}

}  // namespace corvane
