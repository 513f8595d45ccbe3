#pragma once

#include <memory>
#include <string>
#include <vector>

#include "VCommons/Logging/DDLog.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane::testing {

/// Keeps what reaches it.
class LogCollector : public DDLogger {
 public:
  void log(const DDLogMessage& message) override { records.push_back(message); }
  std::vector<DDLogMessage> records;
};

/// What was logged so far: one collector at the dispatcher of the process, which never gives a sink
/// back. Flush the dispatcher before looking.
inline std::vector<DDLogMessage>& logRecords() {
  static const auto& attached = *new auto([] {
    auto made = std::make_shared<LogCollector>();
    DDLog::shared().addLogger(made);
    return made;
  }());
  return attached->records;
}

/// Takes out the texts logged since the last call (call it first of all in a test), each as "FLAG
/// TEXT", where the flag is the number of its level.
inline std::vector<std::string> takeLogTexts() {
  DDLog::shared().flushLog();
  std::vector<std::string> texts;
  for (const auto& record : logRecords())
    texts.push_back(std::to_string(static_cast<int>(record.flag)) + " " + record.message);
  logRecords().clear();
  return texts;
}

}  // namespace corvane::testing
