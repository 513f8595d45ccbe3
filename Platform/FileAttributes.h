#pragma once

#include <string>

#include "Base/Result.h"

/// Marks on files that travel with the file, not with its name: extended attributes. Some file
/// systems keep none, so a mark may save work but nothing may depend on it.
namespace corvane::Platform::FileAttributes {

/// Marks the file `path` with `name`. Fails when the file is missing or the file system keeps no
/// marks.
Result<Done> mark(const std::string& path, const std::string& name);

/// Whether the file `path` bears the mark `name`; false as well where the file system keeps no
/// marks. Fails when that can't be known.
Result<bool> isMarked(const std::string& path, const std::string& name);

}  // namespace corvane::Platform::FileAttributes
