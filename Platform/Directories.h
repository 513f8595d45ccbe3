#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

/// Directories, by their descriptors. Thread-safe.
namespace corvane::Platform::Directories {

/// Opens the directory `name` below `directory` (or from the root, when `name` is a full path),
/// never through a symbolic link in its last component. For naming what lies in it, and for
/// `entries`. Fails with `notFound` when it does not exist or is not a directory.
Result<OwnedDescriptor> open(const OwnedDescriptor& directory, const std::string& name);
Result<OwnedDescriptor> open(const std::string& path);

/// Returns the names in `directory` without "." and "..", in no order. Fails when it can't be read
/// to its end. One thread at a time for one `directory`, because it reads at the descriptor's
/// position.
Result<std::vector<std::string>> entries(const OwnedDescriptor& directory);

/// Returns the next entries (on Linux some dozens) from the descriptor's position on; empty at the
/// end. For large directories. Fails when it can't be read.
Result<std::vector<std::string>> nextEntries(const OwnedDescriptor& directory);

/// Whether `name` can stand for one entry of a directory that is not hidden: not empty, not above
/// 255 bytes, no "/" or zero byte, no "." in front.
bool isVisibleName(std::string_view name);

}  // namespace corvane::Platform::Directories
