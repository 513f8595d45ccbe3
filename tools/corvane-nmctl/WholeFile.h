#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "Base/Result.h"

namespace corvane::Nmctl {

/// All of the file `path`, at most 1 MiB; never through a symbolic link.
Result<std::string> readWhole(const std::string& path);

/// `path` with the links in it followed; as it is when it does not lead anywhere.
std::string resolvedPath(const std::string& path);

/// Writes a file that must not exist, down to the disk. Removes it again if that fails.
Result<Done> writeNewFile(const std::string& path, std::string_view text, mode_t mode);

/// Puts a file with `text` and `mode` at `path` by a renaming: who looks sees the old file or the
/// new one, whole. Removes a partial file if it fails.
Result<Done> replaceFile(const std::string& path, std::string_view text, mode_t mode);

/// Writes `text` to where a person said: to a new file of mode 0600, or, if a terminal or another
/// character device, a pipe or a socket is there, into that. Replaces a regular file only if
/// `overwrites`, and never writes to a file through a symbolic link. Blocks as long as a pipe has
/// no reader. Fails otherwise, for example for a disk, and leaves no partial file.
Result<Done> writeOut(const std::string& path, std::string_view text, bool overwrites);

/// Removes what a replaceFile of `path` left whose process was killed.
void removeLeftParts(const std::string& path);

}  // namespace corvane::Nmctl
