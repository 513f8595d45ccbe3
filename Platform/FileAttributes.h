#pragma once

#include <string>

#include "Base/Result.h"

/// Marks on files that belong to the file, not to its name: extended attributes without a value.
/// Some file systems have none, so a mark may save work, but correctness must not depend on it.
/// Thread-safe.
namespace corvane::Platform::FileAttributes {

/// Sets the mark `name` on the file `path`; setting it twice is fine. Fails with `notFound` if the
/// file does not exist, and if the file system has no extended attributes.
Result<Done> mark(const std::string& path, const std::string& name);

/// Returns whether the file `path` has the mark `name`; false on file systems without extended
/// attributes. Fails if that is not known, for example because the file does not exist.
Result<bool> isMarked(const std::string& path, const std::string& name);

}  // namespace corvane::Platform::FileAttributes
