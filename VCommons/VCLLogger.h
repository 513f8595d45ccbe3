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

namespace corvane {

/// Attaches the sinks to the log dispatcher and holds the library-wide level `ddLogLevel`. The log
/// files are shared by all hosts that run; none is touched before the first line or the first
/// change of level. All operations are safe from any thread.
class VCLLogger {
 public:
  /// What a logger works with; a test brings its own.
  struct Pieces {
    DDLog& dispatcher;
    std::string applicationName;         ///< begins the names of the log files
    std::shared_ptr<DDLogger> osLogger;  ///< the second sink; may be null
    DDFileLogger::Limits limits = {std::chrono::seconds(86400), 512000, 7};
    DDLog::Clock clock = std::chrono::system_clock::now;
  };

  /// Called on the logging queue, before and after each change of the property that is observed.
  struct Observer {
    std::function<void()> willChange;
    std::function<void()> didChange;
  };

  /// Sets `ddLogLevel` to Info.
  explicit VCLLogger(Pieces pieces);

  /// The one of the process.
  static VCLLogger& singleton();

  /// Attaches a file sink in `folder` and the sink to the system log. Only the first call has an
  /// effect. The folder need not exist. Not from the logging queue.
  void initLogger(const std::string& folder);

  /// Rolls the log file and then sets `ddLogLevel` to `level`, whatever its bits; both happen
  /// later, on the logging queue, so that each level's messages begin a fresh file. Before
  /// initLogger it does nothing.
  void modifyLogLevel(std::uint32_t level);

  /// 15 (Debug) when `ddLogLevel` is exactly that, otherwise 7 (Info). Observable by the key
  /// "logLevel".
  [[nodiscard]] std::uint32_t logLevel() const;

  /// Observes the property `key`, for good; "logLevel" is the only one that changes.
  void addObserver(const std::string& key, Observer observer);

  /// Returns when all that was logged before is in the sinks.
  void flush();
  /// Likewise, but waits no longer than `limit`; false when that was too short.
  bool flushWithin(std::chrono::milliseconds limit);

  /// The file sink, or null before initLogger. To be used on the logging queue only.
  [[nodiscard]] std::shared_ptr<DDFileLogger> fileLogger() const;

 private:
  void changeLevel(std::uint32_t level);

  Pieces pieces_;
  std::once_flag once_;
  std::atomic<bool> initialized_ = false;  // published after fileLogger_ is set for good
  std::shared_ptr<DDFileLogger> fileLogger_;
  std::mutex observersMutex_;  // guards observers_
  std::vector<Observer> observers_;
};

}  // namespace corvane
