#pragma once

#include <memory>
#include <string_view>

#include "Platform/SystemLog.h"
#include "VCommons/Logging/DDLog.h"

namespace corvane {

/// The sink that passes every record's text to the system's log.
class DDOSLogger : public DDLogger {
 public:
  using Write = void (*)(Platform::SystemLog::Severity severity, std::string_view text);

  explicit DDOSLogger(Write write = Platform::SystemLog::write) : write_(write) {}

  /// The one of the process.
  static std::shared_ptr<DDOSLogger> sharedInstance();

  void log(const DDLogMessage& message) override;

 private:
  const Write write_;
};

}  // namespace corvane
