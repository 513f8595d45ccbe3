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

/// One log file, as its name describes it.
struct DDLogFileInfo {
  std::string name;       ///< "com.corvane.nm 2024-03-05--14-07-09-123.log"
  VCSDate::Date created;  ///< the time in the name, in UTC and to the millisecond
};

/// The log files of one directory: those named after the application and their time of creation.
/// Other files are ignored. Several processes may share the directory. Not thread-safe.
class DDLogFileManager {
 public:
  /// `folder` need not exist and is not touched yet. `maximumNumberOfLogFiles`: 0 means no limit.
  DDLogFileManager(std::string folder, std::string applicationName,
                   std::size_t maximumNumberOfLogFiles);

  /// All log files, the newest first; none if the directory is missing or a symbolic link, because
  /// the files there may belong to another program. Fails if the directory can't be listed.
  [[nodiscard]] Result<std::vector<DDLogFileInfo>> sortedLogFiles() const;
  /// The first of `sortedLogFiles`, or nothing; fails likewise.
  [[nodiscard]] Result<std::optional<DDLogFileInfo>> newestLogFile() const;

  /// Whether log files may have been created or removed since the last call; true at the first
  /// call, and whenever the directory's time of change can't be read. Reading that time costs one
  /// system call, much less than a listing. A change in the last 20 ms, the resolution of such
  /// times, can't be told from a further one, so the next call reports it again.
  bool mayHaveChanged();

  /// Makes the next `mayHaveChanged` return true.
  void forgetFolderState() { lastState_.reset(); }

  /// Creates the directory, mode 0700, unless it exists; never creates its parent. False if it does
  /// not exist afterwards or is a symbolic link.
  [[nodiscard]] bool makeFolder();

  /// Takes the directory's advisory lock without waiting; see File::tryLock. Closing the returned
  /// file releases it. Fails with `wouldBlock` if another process holds it.
  [[nodiscard]] Result<Platform::File> lockFolder() const;

  /// Opens an existing log file for appending.
  [[nodiscard]] Result<Platform::File> open(const DDLogFileInfo& info) const;

  struct NewFile {
    Platform::File file;  ///< open for appending
    DDLogFileInfo info;
  };
  /// Creates a log file, mode 0600, dated `now`, or 1 ms after the newest one if the clock is
  /// behind: the file created last is always the newest. Fails with `alreadyExists` if another
  /// process has just created it, and if the directory can't be listed.
  [[nodiscard]] Result<NewFile> create(VCSDate::Date now) const;

  /// Marks a file that gets no more lines, so that a host that starts need not check its age and
  /// size. Fails silently: some file systems keep no marks.
  void markArchived(const DDLogFileInfo& info) const;
  /// Whether the file is marked; false if that is unknown, because appending to an archived file is
  /// harmless, while a needless new file would push the oldest one out.
  [[nodiscard]] bool isArchived(const DDLogFileInfo& info) const;

  /// Removes all log files but the newest `maximumNumberOfLogFiles`. Fails silently; removes none
  /// if the directory can't be listed.
  void deleteOldLogFiles() const;

 private:
  /// Identifies the directory and its last change.
  struct FolderState {
    std::uint64_t device;
    std::uint64_t inode;
    std::chrono::system_clock::time_point changed;
    bool operator==(const FolderState&) const = default;
  };

  [[nodiscard]] std::string pathOf(const DDLogFileInfo& info) const {
    return folder_ + "/" + info.name;
  }

  std::string folder_;
  std::string namePrefix_;
  std::size_t maximumNumberOfLogFiles_;
  std::optional<FolderState> lastState_;  // none: the next `mayHaveChanged` is true
};

}  // namespace corvane
