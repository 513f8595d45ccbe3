#pragma once

#include <cstdint>
#include <string>

#include "Base/Result.h"
#include "Base/Value.h"

namespace corvane {

/// Writes values as the platform's NSKeyedArchiver does, byte for byte in the layout of macOS, so
/// that Foundation reads them under secure coding. The format is that of Base/BinaryPropertyList.h
/// with the conventions of ArchiveNames.h on top.
class KeyedArchiver {
 public:
  /// The archive of which `root` is the root object. Every byte is written once, into the buffer
  /// that is returned. Fails with a reason, and no bytes, when a text is not well formed
  /// (Base/Unicode.h, unpaired surrogates allowed), when objects nest deeper than
  /// `ArchiveLimits::maximumDepth`, or when a record has a field that is neither a boolean nor a
  /// signed integer nor a text; with the cause `noSpace` when nothing of that is wrong and the
  /// archive has more than `limit` bytes. If its strings alone must take more (at least two thirds
  /// of their UTF-8 length), nothing is written. Safe from any thread.
  static Result<std::string> archive(const Value& root, std::size_t limit = SIZE_MAX);
};

}  // namespace corvane
