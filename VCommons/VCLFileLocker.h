#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "Platform/File.h"

namespace corvane {

/// An advisory, exclusive lock on a whole file (flock(2)) by which processes take turns. It
/// excludes only those who lock the same file, not plain readers and writers. The file is made with
/// mode 0600 when it is missing, never written to and never removed. A symbolic link in its place
/// is refused: it can't be locked.
///
/// Two lockers on one path exclude each other, in one process as in two. A lock that is held goes
/// with its holder: with the object, or with the process, however that ends. Safe from any thread;
/// while one thread waits in `waitLock`, others that call the same object wait too.
class VCLFileLocker {
 public:
  /// Touches no file yet.
  explicit VCLFileLocker(std::string path);

  /// For the file `path` that is open already as `file`, to be locked and used with one descriptor.
  VCLFileLocker(std::string path, Platform::File file);

  /// Unlocks the file if it is locked, then closes it. A copy of the descriptor, such as that of a
  /// forked process, does not keep the lock.
  ~VCLFileLocker();
  VCLFileLocker(const VCLFileLocker&) = delete;
  VCLFileLocker& operator=(const VCLFileLocker&) = delete;

  /// Takes the lock if nobody else has it; never waits. True when this object holds it now, also
  /// when it did before: no count is kept, one `unlock` gives it back.
  bool lock();

  /// The same, but waits without limit until everybody else has given the lock back. False only
  /// when the file can't be opened or the system can't lock it.
  bool waitLock();

  /// Whether the last `lock` failed because another holder has the lock.
  [[nodiscard]] bool isContended() const { return isContended_; }

  /// Gives the lock back; the file stays open. True when this object holds it no longer, also when
  /// it never did; false when the system refuses, and then it is still held.
  bool unlock();

  [[nodiscard]] const std::string& path() const { return path_; }

  /// The file, for the thread that has taken the lock and only until it gives it back.
  [[nodiscard]] Platform::File& lockedFile() { return *file_; }

 private:
  bool take(Result<Done> (Platform::File::*operation)());
  bool open();

  const std::string path_;
  std::mutex mutex_;  // guards the file and the flag, also while waiting for the lock
  std::optional<Platform::File> file_;  // opened by the first attempt, then kept
  bool locked_ = false;                 // only with an open file
  bool isContended_ = false;
};

}  // namespace corvane
