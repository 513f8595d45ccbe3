#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Base/Result.h"
#include "Platform/File.h"
#include "VCommons/VCSDate.h"

namespace corvane {

/// One log file by its name.
struct DDLogFileInfo {
  std::string name;       ///< "com.corvane.nm 2024-03-05--14-07-09-123.log"
  VCSDate::Date created;  ///< as the name says it, in UTC
};

/// The log files of one folder: those named after the application and the time at which they were
/// made. Other files are none of its business. Several processes share the folder. One thread at a
/// time.
class DDLogFileManager {
 public:
  /// `folder` need not exist and is not touched yet. `maximumNumberOfLogFiles`: 0 means no limit.
  DDLogFileManager(std::string folder, std::string applicationName,
                   std::size_t maximumNumberOfLogFiles);

  /// All log files, the newest first; none when the folder is missing or a symbolic link. Fails
  /// when it can't be listed.
  [[nodiscard]] Result<std::vector<DDLogFileInfo>> sortedLogFiles() const;
  [[nodiscard]] Result<std::optional<DDLogFileInfo>> newestLogFile() const;

  /// Whether log files may have come or gone since the last call; true at the first. Asks the
  /// folder for the time of its last change, which is far cheaper than its list. A change too
  /// recent to tell it from another one is reported again by the next call.
  bool mayHaveChanged();

  /// Makes the next `mayHaveChanged` true.
  void forgetLook() { lastLook_.reset(); }

  /// Makes the folder, mode 0700, unless it exists. The folder that it stands in belongs to others
  /// and is never made. False when it is not there then, or is a symbolic link.
  [[nodiscard]] bool makeFolder();

  /// Takes the folder's advisory lock, which lasts as long as the file returned; see File::tryLock.
  [[nodiscard]] Result<Platform::File> lockFolder() const;

  /// Opens an existing log file for appending.
  [[nodiscard]] Result<Platform::File> open(const DDLogFileInfo& info) const;

  /// A file that is made, and what it is called.
  struct Made {
    Platform::File file;
    DDLogFileInfo info;
  };
  /// Makes a log file, mode 0600, dated `now`, or 1 ms after the newest one when the clock is
  /// behind: the file last made is always the newest. `alreadyExists` when another process was
  /// quicker; fails as well when the newest one is not known.
  [[nodiscard]] Result<Made> create(VCSDate::Date now) const;

  /// Marks a file that gets no more lines. The mark saves a start from asking further; nothing
  /// depends on it.
  void markArchived(const DDLogFileInfo& info) const;
  /// False as well when that can't be known: to continue a file that got no more lines harms
  /// nothing, while a new file would push the oldest one out.
  [[nodiscard]] bool isArchived(const DDLogFileInfo& info) const;

  /// Removes all files but the newest `maximumNumberOfLogFiles`; none when they can't be listed.
  void deleteOldLogFiles() const;

 private:
  /// Which folder it was and when it last changed.
  struct Look {
    std::uint64_t device;
    std::uint64_t inode;
    std::chrono::system_clock::time_point changed;
    bool operator==(const Look&) const = default;
  };

  [[nodiscard]] std::string pathOf(const DDLogFileInfo& info) const {
    return folder_ + "/" + info.name;
  }

  std::string folder_;
  std::string namePrefix_;
  std::size_t maximumNumberOfLogFiles_;
  std::optional<Look> lastLook_;  // none: the next look counts as a change
};

}  // namespace corvane
