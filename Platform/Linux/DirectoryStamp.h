#pragma once

#include <ctime>

#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// Detects with one system call whether the entries of a directory may have changed since they were
/// last listed: creating, removing and renaming an entry sets the directory's modification time
/// before the call returns. File times are coarse, so two changes may get the same time. A
/// directory that had changed shortly before the listing therefore counts as changed, and is listed
/// again. A value; one thread at a time.
class DirectoryStamp {
 public:
  /// Holds for no directory.
  DirectoryStamp() = default;

  /// Take it before listing `directory`, so that a change during the listing is noticed. If the
  /// system gives no times, holds for no directory.
  explicit DirectoryStamp(const OwnedDescriptor& directory);

  /// Returns true if the entries of `directory`, the same one, are certainly unchanged and it has
  /// not been removed.
  [[nodiscard]] bool holdsFor(const OwnedDescriptor& directory) const;

 private:
  std::timespec modified_ = {};
  bool isSettled_ = false;  // old enough that another change would have got a later time
};

}  // namespace corvane::Platform
