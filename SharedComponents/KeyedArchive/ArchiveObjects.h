#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Base/BinaryPropertyList.h"
#include "Base/Value.h"
#include "SharedComponents/KeyedArchive/ArchivableClasses.h"
#include "SharedComponents/KeyedArchive/ArchiveLimits.h"

namespace corvane {

/// The objects in an archive that is being read: access by number, the class of each, and the
/// budget of `ArchiveLimits` that is left. A part of `KeyedUnarchiver`. Refers to the property
/// list, and through it to the archive's bytes, and to the classes; all must outlive it. A function
/// that fails throws `MalformedArchive`. Not thread-safe.
class ArchiveObjects {
 public:
  using Object = BinaryPropertyList::Object;
  using Uid = std::uint32_t;

  /// The class of an object, reduced to what decides how it is read.
  struct Class {
    enum class Kind { dictionary, text, null, number, error, record, notAllowed };

    Kind kind = Kind::notAllowed;
    const RecordClass* record = nullptr;  ///< the class, if the kind is record
  };

  /// Checks the frame (version, archiver, top, array of objects) and finds the root. All strings
  /// together may have `textBytes` bytes in UTF-8. Fails if the frame is not valid.
  ArchiveObjects(const BinaryPropertyList& list, const ArchivableClasses& classes,
                 std::size_t textBytes);

  /// The number of the root object, not checked yet; and the property list.
  [[nodiscard]] Uid root() const { return root_; }
  [[nodiscard]] const BinaryPropertyList& list() const { return list_; }

  /// Returns object `uid`. Fails if there is none, or if it is "$null".
  [[nodiscard]] const Object& at(Uid uid) const;
  /// Returns object `uid`, or nullptr if it is "$null". Fails if there is none.
  [[nodiscard]] const Object* atIfAny(Uid uid) const;

  /// Returns the class of `object`, which must be a dictionary of the property list: the class with
  /// that name or, if the name is unknown, the nearest known superclass, unless a superclass is a
  /// record. `errorsAllowed` allows NSError whatever the allowed classes are. Fails if the object
  /// has no valid class entry.
  Class classOf(const Object& object, bool errorsAllowed);

  /// Returns field `key` of `object`, or an object of kind `none`. Each call counts all fields of
  /// `object`; fails when the budget is used up.
  const Object& field(const Object& object, std::string_view key);

  /// Returns the value of the pair at `position` of `object`; counts as `field` does.
  const Object& fieldAt(const Object& object, std::size_t position);

  /// Returns the string `object` as UTF-8. Fails when the budget for strings is used up.
  std::string text(const Object& object);
  /// Copies object `uid` to `into` if it is a string, plain or wrapped in an NSString object;
  /// otherwise returns false.
  bool copyTextAt(Uid uid, std::string& into);
  /// Returns the string in an object of class NSString. Fails if there is none.
  const Object& boxedText(const Object& object);

  /// Returns an integer of the property list as a value; unsigned if it is not negative.
  static Value integer(const Object& object);

  /// Takes `count` keys or values off the budget; fails when it is used up.
  void countValues(std::size_t count);

 private:
  [[nodiscard]] BinaryPropertyList::Index indexOf(Uid uid) const;
  Class superclassOf(const Object& entry, bool errorsAllowed);
  [[nodiscard]] std::optional<Class> knownClass(const Object& name, bool errorsAllowed) const;
  void countFields(std::size_t count);

  const BinaryPropertyList& list_;
  const ArchivableClasses& classes_;
  Object objects_{};
  Uid root_ = 0;
  std::size_t valuesLeft_ = ArchiveLimits::maximumValues;
  std::size_t fieldsLeft_ = ArchiveLimits::maximumFields;
  std::size_t textBytesLeft_;
};

}  // namespace corvane
