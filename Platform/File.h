#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Base/Bytes.h"
#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// An open file. Owns its descriptor, which is closed with the object and which no child process
/// inherits. Movable, not copyable. Calls that a signal interrupts are repeated; all others are one
/// system call each unless stated otherwise, so that what other processes see is predictable. The
/// text of a failure names the call and the system's reason. Blocks only for the disk, except for
/// `waitLock`. One thread at a time.
class File {
 public:
  /// What the file is opened for, and whether it is created.
  enum class Access {
    read,              ///< reading; the file must exist
    readThroughLinks,  ///< as read, but follows symbolic links; for files that the system or the
                       ///< user may keep elsewhere
    append,            ///< writing at the end, also while others append; the file must exist
    makeAppend,        ///< as append, but creates the file, mode 0600; it must not exist
    update,            ///< reading and writing at any offset; the file must exist
    readWrite,         ///< as update, but creates the file, mode 0600, if it does not exist
  };

  /// Facts about a file at one moment. `device` and `inode` together identify it as long as it
  /// exists.
  struct Status {
    std::uint64_t size = 0;    ///< in bytes
    bool isLinked = false;     ///< false once its last name has been removed
    std::uint64_t device = 0;  ///< the file system
    std::uint64_t inode = 0;   ///< the file within it
    /// When the content was last written; of a directory, when its list of entries last changed.
    std::chrono::system_clock::time_point changed;
  };

  /// Opens `path`. Does not follow a symbolic link in the last component unless `access` is
  /// `readThroughLinks`; a link is then a failure with cause `notPermitted`. Never blocks, even if
  /// a named pipe is in the place of the file.
  static Result<File> open(const std::string& path, Access access);

  /// Writes `bytes` at the end with one call and returns how many were written: fewer than all if
  /// the disk fills up or the size limit is reached.
  Result<std::size_t> append(ByteView bytes);

  /// Reads into `bytes` from the file position on and advances it. Returns the number of bytes; 0
  /// at the end of the file.
  Result<std::size_t> read(std::span<std::byte> bytes);

  /// Reads from the file position to the end, with as many calls as needed. Fails with `malformed`
  /// if that is more than `limit` bytes.
  Result<std::vector<std::byte>> readAll(std::size_t limit);

  /// Reads from `offset` (bytes from the start) until `bytes` is full or the file ends, with as
  /// many calls as needed. Returns the number of bytes. Leaves the file position alone.
  [[nodiscard]] Result<std::size_t> readAt(std::span<std::byte> bytes, std::uint64_t offset) const;

  /// Writes `first` and then `second` at `offset` with one call and returns how many bytes were
  /// written in all: fewer than both if the disk fills up. Leaves the file position alone.
  Result<std::size_t> writeAt(ByteView first, ByteView second, std::uint64_t offset);

  /// Sets the length of the file to `size` bytes.
  Result<Done> truncate(std::uint64_t size);

  /// Returns the present status of the open file, whatever its path names by now.
  [[nodiscard]] Result<Status> status() const;

  /// Takes the exclusive advisory lock on the whole file (flock(2)). `tryLock` never waits and
  /// fails with `wouldBlock` if the lock is held elsewhere; `waitLock` blocks until it is free,
  /// without a limit. The lock belongs to this opening of the file: another File for the same path
  /// competes for it, even in this process. `unlock`, closing the file or the end of the process
  /// releases it.
  Result<Done> tryLock();
  Result<Done> waitLock();
  Result<Done> unlock();

  /// The descriptor, for other system calls; stays owned by this object.
  [[nodiscard]] int descriptor() const { return descriptor_.number(); }

 private:
  Result<Done> changeLock(int operation);

  explicit File(OwnedDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

  OwnedDescriptor descriptor_;
};

/// Returns the status of the file or directory `path`; symbolic links are followed. Fails with
/// `notFound` if it does not exist. Thread-safe.
Result<File::Status> statusOf(const std::string& path);

/// Removes the name `path` of a file; the file itself goes with its last name and last opening.
/// Fails with `notFound` if there is no such name. Thread-safe.
Result<Done> removeFile(const std::string& path);

/// Whether a symbolic link to a directory counts as a directory.
enum class Links { refused, followed };

/// Creates the directory `base`/`below` and all missing ones between the two, mode 0700; existing
/// directories are fine. Never creates `base`. Fails with `notFound` if `base` does not exist or if
/// a component below it exists but is not a directory; with `Links::refused` a symbolic link is not
/// one. Directories created before a failure stay. Thread-safe, also beside other processes.
Result<Done> makeDirectories(const std::string& base, const std::string& below,
                             Links links = Links::refused);

/// Returns the failure for `error`, a value of errno, or for the present value of errno, which must
/// not have changed since the call that failed. The only place where error numbers become causes.
/// The text is "`operation` `subject`: " and the system's message, without `subject` if that is
/// empty.
Failure failureFrom(int error, std::string_view operation, std::string_view subject = {});
Failure failureFromErrno(std::string_view operation, std::string_view subject = {});

}  // namespace corvane::Platform
