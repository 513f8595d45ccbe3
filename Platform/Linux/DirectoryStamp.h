#pragma once

#include <ctime>

#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// Tells whether a directory may have changed since somebody looked into it, for the price of one
/// system call: what puts an entry in, takes one out or renames one sets the directory's
/// modification time before it returns. The times of files are coarse, so a directory that had
/// changed shortly before the look counts as changed; the look is then simply repeated.
class DirectoryStamp {
 public:
  /// Holds for nothing.
  DirectoryStamp() = default;

  /// For the look into `directory` that comes next.
  explicit DirectoryStamp(const OwnedDescriptor& directory);

  /// True when the entries of `directory` are still what they were, and it is still linked.
  [[nodiscard]] bool holdsFor(const OwnedDescriptor& directory) const;

 private:
  std::timespec modified_ = {};
  bool isSettled_ = false;
};

}  // namespace corvane::Platform
