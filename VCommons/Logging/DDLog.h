#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "VCommons/Logging/DDLogMessage.h"
#include "VCommons/Logging/DispatchQueue.h"

/// The logging backend, in this folder: a dispatcher (`DDLog`) passes finished records to sinks
/// (`DDLogger`); one sink writes rolling files, the other the system's log. The facade that makes
/// the records is VCommonsKit/VCLog.h.
namespace corvane {

/// A sink of log records. Called on the logging queue only, one call at a time, on whichever thread
/// runs the queue's task. Must not throw, log, or write to the standard streams; a record that
/// can't be written is lost.
class DDLogger {
 public:
  DDLogger() = default;
  virtual ~DDLogger() = default;
  DDLogger(const DDLogger&) = delete;
  DDLogger& operator=(const DDLogger&) = delete;

  /// Writes `message`, which has a timestamp and is valid during the call only. May block.
  virtual void log(const DDLogMessage& message) = 0;
};

/// The log dispatcher: a serial queue that passes every record to every sink, in the order in which
/// the records came. A synchronous record runs on the caller's thread when its turn comes, so a
/// process that logs only errors has no logging thread. Thread-safe; sinks and tasks of the logging
/// queue may call everything but `addLogger`.
class DDLog {
 public:
  using Clock = std::function<std::chrono::system_clock::time_point()>;

  /// How many asynchronous records may be queued; beyond it `log` blocks until its record is
  /// written. This bounds the memory that a slow disk can cost.
  static constexpr std::size_t maximumQueueSize = 1000;

  /// `clock` stamps the records; called on the threads that log.
  explicit DDLog(Clock clock = std::chrono::system_clock::now);

  /// The dispatcher of the process. Never destroyed, so that threads may log until the end.
  static DDLog& shared();

  /// Attaches a sink for good; it gets the records that are logged from now on. Blocks until
  /// earlier records are written. Must not be called on the logging queue: that ends the process.
  void addLogger(std::shared_ptr<DDLogger> logger);

  /// Stamps the record unless it has a time, and passes it to the sinks: asynchronously returns at
  /// once, synchronously when every sink has it. On the logging queue itself a record is always
  /// queued. Without a sink it is dropped.
  void log(bool asynchronously, DDLogMessage message);

  /// Blocks until every sink has all records that were logged before. A no-op on the logging queue.
  void flushLog();
  /// The same for at most `limit`; returns whether that was enough. False on the logging queue.
  bool flushLogWithin(std::chrono::milliseconds limit);

  /// The queue on which sinks run, for work that must not run beside them.
  DispatchQueue& loggingQueue() { return queue_; }

 private:
  void handToLoggers(const DDLogMessage& message);

  const Clock clock_;
  std::atomic<bool> hasLoggers_ = false;
  std::atomic<std::size_t> waiting_ = 0;            // asynchronous records not yet written
  std::vector<std::shared_ptr<DDLogger>> loggers_;  // used on the queue only
  DispatchQueue queue_{"DDLog"};                    // last: its destructor runs pending tasks
};

}  // namespace corvane
