#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "Base/Result.h"
#include "Platform/File.h"
#include "VCommons/Logging/DDLog.h"
#include "VCommons/Logging/DDLogFileManager.h"
#include "VCommons/VCSDate.h"

namespace corvane {

/// The sink that writes lines to rolling files. All hosts share the files of one folder: the newest
/// file is the current one for all, each line is one append, and whoever rolls moves the others
/// along. A disk that is full, read-only or gone costs lines, nothing else; a line that reached the
/// disk in part only stays so, and the next one begins on a line of its own. Files and folder are
/// made with the first line or roll. While the folder can't be listed, no file is made or deleted:
/// lines go to the current file or, without one, are lost.
///
/// A file is rolled when asked, when it is old and when it is large: its successor is made, then
/// the old one is marked as archived. A start continues the newest file unless that is archived,
/// old or large.
class DDFileLogger : public DDLogger {
 public:
  struct Limits {
    std::chrono::seconds
        rollingFrequency;                 ///< a file is rolled at this age, by the date in its name
    std::uint64_t maximumFileSize;        ///< and as soon as it has this many bytes
    std::size_t maximumNumberOfLogFiles;  ///< older files are deleted; 0 means no limit
  };

  /// A file that another host began up to this long before a roll is asked for counts as that roll.
  static constexpr std::chrono::seconds sameRollPeriod{2};

  /// `clock` tells how old files are and dates new ones.
  DDFileLogger(DDLogFileManager manager, Limits limits, DDLog::Clock clock);

  void log(const DDLogMessage& message) override;

  /// Begins a new file, however empty the current one is. When another host has just done so, its
  /// new file is taken instead: hosts that are told to roll together make one file. On the logging
  /// queue.
  void rollLogFile();

 private:
  using Time = VCSDate::Date;  // also far dates in names compare without overflow

  struct Current {
    Platform::File file;
    DDLogFileInfo info;
    bool isOurs;                 // made by this host
    bool mustRoll = false;       // found to be archived or too large
    bool endsInMidLine = false;  // the last line reached it in part
  };

  [[nodiscard]] Time now() const;
  void followOthers();
  void take(const DDLogFileInfo& info);
  Result<bool> takeNewest();
  void roll(Time now);
  void rollCurrent(Time now);
  void makeFirst(Time now);
  void makeSuccessor(Time now);
  void write(const DDLogMessage& message);
  [[nodiscard]] bool isTooOld(Time now) const;
  [[nodiscard]] bool isTooLarge() const;

  DDLogFileManager manager_;
  const Limits limits_;
  const DDLog::Clock clock_;
  std::optional<Current> current_;
};

}  // namespace corvane
