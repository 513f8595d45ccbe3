#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

/// Opens and lists directories. Works with descriptors, so that a directory stays the same one
/// while its name or those above it change. Thread-safe, except as stated.
namespace corvane::Platform::Directories {

/// Opens the directory `name` inside `directory` (or `name` itself if it is an absolute path;
/// `path` relative to the working directory), for system calls that take a directory descriptor and
/// for `entries`. Does not follow a symbolic link in the last component. Fails with `notFound` if
/// it does not exist or is not a directory, a link included.
Result<OwnedDescriptor> open(const OwnedDescriptor& directory, const std::string& name);
Result<OwnedDescriptor> open(const std::string& path);

/// Returns the names of all entries of `directory` except "." and "..", in no particular order.
/// Fails if it can't be read completely. Entries created or removed meanwhile may be missing or
/// listed. One thread at a time per descriptor, because it moves the descriptor's position.
Result<std::vector<std::string>> entries(const OwnedDescriptor& directory);

/// Returns the next few entries from the descriptor's position on (on Linux some dozens), without
/// "." and ".."; empty at the end. For directories that are too large to list at once. Fails if it
/// can't be read. One thread at a time per descriptor.
Result<std::vector<std::string>> nextEntries(const OwnedDescriptor& directory);

/// Returns true if `name` can be the name of one directory entry that is not hidden: 1 to 255
/// bytes, no "/" or zero byte, no "." in front. So a name from outside can't lead to another
/// directory.
bool isVisibleName(std::string_view name);

}  // namespace corvane::Platform::Directories
