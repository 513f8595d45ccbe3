#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "VCommons/Logging/DDLogMessage.h"
#include "VCommons/VCommonsKit/DispatchQueue.h"

namespace corvane {

/// A sink of log records. Called on the logging queue only, one call at a time. A failure costs the
/// record; a sink never logs and never writes to the standard streams.
class DDLogger {
 public:
  DDLogger() = default;
  virtual ~DDLogger() = default;
  DDLogger(const DDLogger&) = delete;
  DDLogger& operator=(const DDLogger&) = delete;

  /// `message` has a timestamp.
  virtual void log(const DDLogMessage& message) = 0;
};

/// The log dispatcher: a serial queue that hands every record to every sink, in the order in which
/// they came. Synchronous records run on the caller's thread in their turn, so errors alone start
/// no thread. All operations are safe from any thread, sinks and tasks of the logging queue
/// included.
class DDLog {
 public:
  using Clock = std::function<std::chrono::system_clock::time_point()>;

  /// That many records may wait; beyond it a caller waits for its record's turn, so that a slow
  /// disk holds back whoever logs and the queue stays small.
  static constexpr std::size_t maximumQueueSize = 1000;

  /// `clock` stamps the records.
  explicit DDLog(Clock clock = std::chrono::system_clock::now);

  /// The one of the process.
  static DDLog& shared();

  /// Attaches a sink for the records handed over from now on. Never detached. Not from the logging
  /// queue.
  void addLogger(std::shared_ptr<DDLogger> logger);

  /// Stamps the record unless it has a time, and hands it over: asynchronously returns at once,
  /// synchronously when every sink has it. From the logging queue itself a record is always queued.
  /// Without a sink it is dropped.
  void log(bool asynchronously, DDLogMessage message);

  /// Returns when every sink has all that was handed over before. At once on the logging queue
  /// itself.
  void flushLog();
  /// Likewise, but waits no longer than `limit`; false when that was too short.
  bool flushLogWithin(std::chrono::milliseconds limit);

  /// The queue on which sinks run.
  DispatchQueue& loggingQueue() { return queue_; }

 private:
  void handToLoggers(const DDLogMessage& message);

  const Clock clock_;
  std::atomic<bool> hasLoggers_ = false;
  std::atomic<std::size_t> waiting_ = 0;            // asynchronous records not yet written
  std::vector<std::shared_ptr<DDLogger>> loggers_;  // used on the queue only
  DispatchQueue queue_{"DDLog"};                    // last: its destructor runs what waits
};

}  // namespace corvane
