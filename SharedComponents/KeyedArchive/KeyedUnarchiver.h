#pragma once

#include "Base/Bytes.h"
#include "Base/Result.h"
#include "Base/Value.h"
#include "SharedComponents/KeyedArchive/ArchivableClasses.h"

namespace corvane {

/// Reads what NSKeyedArchiver writes, of any system and in any order of objects, under secure
/// coding. See KeyedArchiver.h for the format.
class KeyedUnarchiver {
 public:
  /// The root object of the archive in `bytes`. Fails as a whole, with `malformed` and one reason,
  /// when the bytes break the format, when anything is of a class that is not allowed, when a field
  /// of a record or an error is of another kind than it should be, or beyond `ArchiveLimits`. What
  /// is allocated is bounded by these limits and by the bytes that are there.
  ///
  /// Mutable dictionaries and texts, and other subclasses of Foundation's, are read as their base
  /// class; what claims to be a subclass of a record is not allowed. An error's user info may hold
  /// anything: entries that no `Value` can express are left out. Elsewhere a dictionary that has
  /// other keys than texts, or an object of NSNumber or a subclass (other numbers are no objects of
  /// their own), is left out with its key; as the root it is null. A field of a record is null when
  /// it is missing or when it should be a text and is something else. Of equal keys in a dictionary
  /// the first one counts. Safe from any thread; nothing refers to `bytes` afterwards.
  static Result<Value> unarchive(ByteView bytes, const ArchivableClasses& classes);
};

}  // namespace corvane
