#pragma once

#include <string>

/// Marks on files that travel with the file, not with its name: extended attributes. Some file
/// systems keep none, so a mark may save work but nothing may depend on it.
namespace corvane::Platform::FileAttributes {

/// Marks the file `path` with `name`. False when the file is missing or the file system keeps no
/// marks.
bool mark(const std::string& path, const std::string& name);

/// Whether the file `path` bears the mark `name`; false as well when that can't be known.
bool isMarked(const std::string& path, const std::string& name);

}  // namespace corvane::Platform::FileAttributes
