#pragma once

#include <memory>
#include <string_view>

#include "Platform/SystemLog.h"
#include "VCommons/Logging/DDLog.h"

namespace corvane {

/// The sink that passes every record's text to the system's log: errors, warnings and infos under
/// the severity of the same name, all else as debug. The system adds the time. Never blocks on
/// Linux; a record that the system does not take is lost.
class DDOSLogger : public DDLogger {
 public:
  /// The function that writes one record; a test passes its own.
  using Write = void (*)(Platform::SystemLog::Severity severity, std::string_view text);

  explicit DDOSLogger(Write write = Platform::SystemLog::write) : write_(write) {}

  /// The sink of the process, never destroyed. Thread-safe.
  static std::shared_ptr<DDOSLogger> sharedInstance();

  /// Writes the text without a timestamp. On the logging queue.
  void log(const DDLogMessage& message) override;

 private:
  const Write write_;
};

}  // namespace corvane
