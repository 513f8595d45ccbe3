#pragma once

#include <cstdint>
#include <string>

#include "Base/Result.h"
#include "Base/Value.h"

namespace corvane {

/// Writes values as NSKeyedArchiver of macOS does, byte for byte, so that Foundation reads them
/// under secure coding. The format is a binary property list (Base/BinaryPropertyList.h) with the
/// conventions of ArchiveNames.h.
///
/// This folder is the archive format, portable: the archiver, the unarchiver (KeyedUnarchiver.h),
/// and their parts.
class KeyedArchiver {
 public:
  /// Returns the archive with the root object `root`. Fails with a reason, and no bytes, if a
  /// string is not well formed (Base/Unicode.h, unpaired surrogates allowed), if objects nest
  /// deeper than `ArchiveLimits::maximumDepth`, or if a record has a field that is neither a
  /// boolean nor a signed integer nor a string. Fails with the cause `noSpace` if the value is
  /// valid and the archive has more than `limit` bytes; if the strings alone must exceed that (each
  /// takes at least two thirds of its UTF-8 length), this is found before anything is written.
  /// Thread-safe.
  static Result<std::string> archive(const Value& root, std::size_t limit = SIZE_MAX);
};

}  // namespace corvane
