#pragma once

#include "Base/Bytes.h"
#include "Base/Result.h"
#include "Base/Value.h"
#include "SharedComponents/KeyedArchive/ArchivableClasses.h"

namespace corvane {

/// Reads archives of NSKeyedArchiver, of any version of macOS and with objects in any order, under
/// the rules of secure coding. See KeyedArchiver.h for the format.
class KeyedUnarchiver {
 public:
  /// Returns the root object of the archive in `bytes`, which may come from an attacker. Fails as a
  /// whole, with `malformed` and one reason, if the bytes violate the format, if anything is of a
  /// class that is not allowed, if a field of a record or an error has the wrong kind, or beyond
  /// `ArchiveLimits`. Memory is bounded by those limits and the number of bytes. Thread-safe; the
  /// result does not refer to `bytes`.
  ///
  /// - Mutable dictionaries and strings, and other subclasses of Foundation's classes, are read as
  ///   their base class. A subclass of a record is not allowed.
  /// - An error's user info may contain anything; entries that no `Value` can express are skipped.
  /// - Elsewhere, a dictionary with a key that is not a string, or an object of NSNumber or a
  ///   subclass (plain numbers need no object), is skipped with its key; as the root it is null.
  /// - A field of a record is null if it is missing, or should be a string and is something else.
  /// - The first of several equal keys in a dictionary counts.
  static Result<Value> unarchive(ByteView bytes, const ArchivableClasses& classes);
};

}  // namespace corvane
