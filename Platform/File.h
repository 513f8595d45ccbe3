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

/// An open file, closed with the object. Owns its descriptor, which no child process inherits.
/// Calls that a signal interrupts are repeated. One thread at a time.
class File {
 public:
  enum class Access {
    read,              ///< for reading; must exist
    readThroughLinks,  ///< as read, but follows symbolic links; for files that the system or the
                       ///< user arranges
    append,            ///< for writing at the end, also beside other writers; must exist
    makeAppend,        ///< as append, but the file must not exist and is made with mode 0600
    update,            ///< for both, at any place; must exist
    readWrite,         ///< as update, but made with mode 0600 when it is missing
  };

  struct Status {
    std::uint64_t size = 0;    ///< in bytes
    bool isLinked = false;     ///< false once nobody can find it by a name
    std::uint64_t device = 0;  ///< where it is, and `inode`:
    std::uint64_t inode = 0;   ///< which file it is there
    /// Last write to it; for a directory, to its list.
    std::chrono::system_clock::time_point changed;
  };

  /// Opens `path`; never follows a symbolic link in the last component unless `access` says so,
  /// never waits.
  static Result<File> open(const std::string& path, Access access);

  /// Writes `bytes` with one call and says how many the system took: fewer than all when the disk
  /// fills up.
  Result<std::size_t> append(ByteView bytes);

  /// Reads from the present position on into `bytes`; 0 at the end of the file.
  Result<std::size_t> read(std::span<std::byte> bytes);

  /// Reads all that is left. Fails with `malformed` when that is more than `limit` bytes.
  Result<std::vector<std::byte>> readAll(std::size_t limit);

  /// Reads from `offset` on until `bytes` is full or the file ends; says how many came.
  [[nodiscard]] Result<std::size_t> readAt(std::span<std::byte> bytes, std::uint64_t offset) const;

  /// Writes both pieces, one behind the other, at `offset` with one call and says how many bytes
  /// the system took: fewer than all when the disk fills up.
  Result<std::size_t> writeAt(ByteView first, ByteView second, std::uint64_t offset);

  /// Cuts the file off at `size` bytes.
  Result<Done> truncate(std::uint64_t size);

  [[nodiscard]] Result<Status> status() const;

  /// Takes the whole-file advisory lock (flock(2)): `tryLock` without waiting, `wouldBlock` when
  /// somebody else has it; `waitLock` waits for as long as that takes. The lock goes with `unlock`
  /// or with the file. Who opened the same file anew, in this process too, is somebody else.
  Result<Done> tryLock();
  Result<Done> waitLock();
  Result<Done> unlock();

  [[nodiscard]] int descriptor() const { return descriptor_.number(); }

 private:
  Result<Done> changeLock(int operation);

  explicit File(OwnedDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

  OwnedDescriptor descriptor_;
};

/// The status of what `path` names (links followed), for example a directory's: `changed` moves
/// when an entry comes or goes.
Result<File::Status> statusOf(const std::string& path);

/// Removes the name `path`. A missing one is a failure with cause `notFound`.
Result<Done> removeFile(const std::string& path);

/// Whether a symbolic link to a directory counts as a directory.
enum class Links { refused, followed };

/// Makes the directory `base`/`below`, mode 0700, with what is missing between the two; existing
/// directories are fine. Fails when `base` is missing, which is never made, and when something else
/// stands in the way: below `base`, with `Links::refused`, any symbolic link, too.
Result<Done> makeDirectories(const std::string& base, const std::string& below,
                             Links links = Links::refused);

/// The failure that `error`, a value of errno, stands for, or that errno holds now: its text is
/// "`operation` `subject`: text of the error".
Failure failureFrom(int error, std::string_view operation, std::string_view subject = {});
Failure failureFromErrno(std::string_view operation, std::string_view subject = {});

}  // namespace corvane::Platform
