#pragma once

#include <ctime>

#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// Tells whether a folder may have changed since somebody looked into it, for the price of one
/// system call: what puts an entry in, takes one out or renames one sets the folder's modification
/// time before it returns. The times of files are coarse, so a folder that had changed shortly
/// before the look counts as changed; the look is then simply repeated.
class FolderStamp {
 public:
  /// Holds for nothing.
  FolderStamp() = default;

  /// For the look into `folder` that comes next.
  explicit FolderStamp(const OwnedDescriptor& folder);

  /// True when the entries of `folder` are still what they were, and it is still linked.
  [[nodiscard]] bool holdsFor(const OwnedDescriptor& folder) const;

 private:
  std::timespec modified_ = {};
  bool isSettled_ = false;
};

}  // namespace corvane::Platform
