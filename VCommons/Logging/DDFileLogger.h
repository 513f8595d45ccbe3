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

/// The sink that writes lines to rolling log files. All hosts share the files of one directory: the
/// newest file is the current one for all of them, each line is one append, and a host that finds
/// a newer file continues there. Directory and files are created with the first line or roll.
///
/// A file is rolled when asked, at the maximum age and at the maximum size: a new file is created,
/// then the old one is marked as archived. A host that starts continues the newest file unless that
/// is archived, too old or too large.
///
/// Failures lose lines and nothing else: on a full, read-only or missing disk `log` returns as
/// usual. If only part of a line was written, it stays, and the next line begins with a line feed.
/// While the directory can't be listed, no file is created or deleted: lines go to the current file
/// or, without one, are lost.
class DDFileLogger : public DDLogger {
 public:
  struct Limits {
    std::chrono::seconds
        rollingFrequency;                 ///< a file is rolled at this age, by the date in its name
    std::uint64_t maximumFileSize;        ///< in bytes; a file that has reached it is rolled
    std::size_t maximumNumberOfLogFiles;  ///< older files are deleted; 0 means no limit
  };

  /// A file that another host created at most this long before or after a requested roll counts as
  /// that roll. (After: the other host may have read its clock later than this one.)
  static constexpr std::chrono::seconds sameRollPeriod{2};

  /// `clock` dates new files and determines the age of existing ones.
  DDFileLogger(DDLogFileManager manager, Limits limits, DDLog::Clock clock);

  /// Appends one line; rolls before it if the current file is too old, after it if too large.
  void log(const DDLogMessage& message) override;

  /// Rolls, however empty the current file is. If another host has just rolled, continues its new
  /// file instead, so that hosts which are asked together create one file. On the logging queue.
  void rollLogFile();

 private:
  using Time = VCSDate::Date;  // far dates in names compare without overflow

  struct Current {
    Platform::File file;
    DDLogFileInfo info;
    bool isOurs;                 // created by this host
    bool mustRoll = false;       // found to be archived or too large
    bool endsInMidLine = false;  // only part of the last line was written
  };

  [[nodiscard]] Time now() const;
  void followOthers();
  void switchTo(const DDLogFileInfo& info);
  Result<bool> switchToNewest();
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
