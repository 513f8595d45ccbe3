#include "VCommons/Logging/DDLog.h"

#include <utility>

namespace corvane {

DDLog::DDLog(Clock clock) : clock_(std::move(clock)) {}

DDLog& DDLog::shared() {
  static auto& log = *new DDLog;
  return log;
}

void DDLog::addLogger(std::shared_ptr<DDLogger> logger) {
  queue_.sync([&] { loggers_.push_back(std::move(logger)); });
  hasLoggers_ = true;
}

void DDLog::log(bool asynchronously, DDLogMessage message) {
  if (!hasLoggers_) return;
  if (!message.timestamp) message.timestamp = clock_();
  const bool mayWait = !queue_.isCurrent();
  if (mayWait && (!asynchronously || waiting_ >= maximumQueueSize)) {
    queue_.sync([&] { handToLoggers(message); });
    return;
  }
  ++waiting_;
  queue_.async([this, record = std::make_unique<DDLogMessage>(std::move(message))] {
    --waiting_;
    handToLoggers(*record);
  });
}

void DDLog::flushLog() {
  if (!queue_.isCurrent()) queue_.sync([] {});
}

bool DDLog::flushLogWithin(std::chrono::milliseconds limit) {
  return queue_.drain(limit);
}

void DDLog::handToLoggers(const DDLogMessage& message) {
  for (const auto& logger : loggers_) logger->log(message);
}

}  // namespace corvane
