#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "VCommons/Logging/DDFileLogger.h"
#include "VCommons/Logging/DDLog.h"

/// The support library, in this folder: logging, dates, file locks, facts about processes, task
/// queues. It knows nothing of browsers or of the main application.
namespace corvane {

/// Sets logging up: attaches the sinks to the log dispatcher and keeps the library-wide level
/// `ddLogLevel`. All running hosts share the log files; none is touched before the first line or
/// the first change of level. Thread-safe, except where noted.
class VCLLogger {
 public:
  /// What a logger works with; a test passes its own.
  struct Dependencies {
    DDLog& dispatcher;                   ///< must outlive the logger
    std::string applicationName;         ///< begins the names of the log files
    std::shared_ptr<DDLogger> osLogger;  ///< the second sink; may be null
    DDFileLogger::Limits limits = {std::chrono::seconds(86400), 512000, 7};
    DDLog::Clock clock = std::chrono::system_clock::now;  ///< dates log files
  };

  /// Called on the logging queue, before and after each change of the observed property. Either may
  /// be empty. May add observers; must not call initLogger.
  struct Observer {
    std::function<void()> willChange;
    std::function<void()> didChange;
  };

  /// Sets `ddLogLevel`, of which the process has one, to Info.
  explicit VCLLogger(Dependencies dependencies);

  /// The logger of the process, never destroyed.
  static VCLLogger& singleton();

  /// Attaches a file sink in the directory `folder`, which need not exist, and the sink to the
  /// system log. Only the first call has an effect. Must not be called on the logging queue.
  void initLogger(const std::string& folder);

  /// Rolls the log file and then sets `ddLogLevel` to `level`, any mask of DDLogFlag. Returns at
  /// once; both happen later, on the logging queue, so that the messages of each level begin a new
  /// file. A no-op before initLogger.
  void modifyLogLevel(std::uint32_t level);

  /// 15 (Debug) if `ddLogLevel` is exactly that, otherwise 7 (Info). Observable by the key
  /// "logLevel".
  [[nodiscard]] std::uint32_t logLevel() const;

  /// Observes the property `key` for good. "logLevel" is the only one that changes; any other key
  /// is ignored.
  void addObserver(const std::string& key, Observer observer);

  /// Blocks until all messages logged before are in the sinks.
  void flush();
  /// The same for at most `limit`; returns whether that was enough.
  bool flushWithin(std::chrono::milliseconds limit);

  /// The file sink, or null before initLogger. Use it on the logging queue only.
  [[nodiscard]] std::shared_ptr<DDFileLogger> fileLogger() const;

 private:
  void changeLevel(std::uint32_t level);

  Dependencies dependencies_;
  std::once_flag once_;
  std::atomic<bool> initialized_ = false;  // published after fileLogger_ is set for good
  std::shared_ptr<DDFileLogger> fileLogger_;
  std::mutex observersMutex_;  // guards observers_
  std::vector<Observer> observers_;
};

}  // namespace corvane
