#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "Platform/File.h"

namespace corvane {

/// An advisory, exclusive lock on a whole file (flock(2)), for mutual exclusion between processes.
/// It excludes only those who lock the same file, not plain readers and writers. Creates the file
/// with mode 0600 if it is missing; never writes to it and never removes it. A symbolic link in its
/// place can't be locked: opening it fails.
///
/// Two lockers on one path exclude each other, within one process as between two. The lock ends
/// with the locker or with the process, however that ends. Thread-safe, except where noted; while
/// one thread blocks in `waitLock`, all other calls on the same object block too.
class VCLFileLocker {
 public:
  /// Does not touch the file; the first attempt to lock opens it, and it stays open.
  explicit VCLFileLocker(std::string path);

  /// For a caller that has opened `path` as `file` and uses and locks it by one descriptor. Takes
  /// ownership of `file`.
  VCLFileLocker(std::string path, Platform::File file);

  /// Unlocks the file if it is locked, then closes it. A copy of the descriptor, such as that of a
  /// forked process, does not keep the lock.
  ~VCLFileLocker();
  VCLFileLocker(const VCLFileLocker&) = delete;
  VCLFileLocker& operator=(const VCLFileLocker&) = delete;

  /// Takes the lock if no other locker holds it; never waits. Returns whether this object holds it
  /// now. Idempotent: there is no count, one `unlock` releases it. False as well if the file can't
  /// be opened or the system can't lock it.
  bool lock();

  /// The same, but blocks without limit while another locker holds the lock. False only if the file
  /// can't be opened or the system can't lock it.
  bool waitLock();

  /// Whether the last `lock` failed because another locker holds the lock. Only on the thread that
  /// called it.
  [[nodiscard]] bool isContended() const { return isContended_; }

  /// Releases the lock; the file stays open. Returns whether this object does not hold it now:
  /// true as well if it never did, false if the system refuses.
  bool unlock();

  [[nodiscard]] const std::string& path() const { return path_; }

  /// The locked file. Only on the thread that holds the lock, and only until it unlocks.
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
