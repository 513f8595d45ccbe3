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

/// The list of objects in an archive: its entries by number, the class of each, and the counts of
/// what was looked at, kept against `ArchiveLimits`. A part of `KeyedUnarchiver`; refers to the
/// bytes and the classes that it is made with. What can fail throws `MalformedArchive`.
class ArchiveObjects {
 public:
  using Object = BinaryPropertyList::Object;
  using Uid = std::uint32_t;

  /// What an object is read as.
  struct Class {
    enum class Kind { dictionary, text, null, number, error, record, notAllowed };

    Kind kind = Kind::notAllowed;
    const RecordClass* record = nullptr;  ///< of a record
  };

  /// Checks the frame: the names and the version on top, the list of objects. All texts together
  /// may have `textBytes` bytes.
  ArchiveObjects(const BinaryPropertyList& list, const ArchivableClasses& classes,
                 std::size_t textBytes);

  [[nodiscard]] Uid root() const { return root_; }
  [[nodiscard]] const BinaryPropertyList& list() const { return list_; }

  /// Entry `uid`. Fails when there is none, or when it is nothing ("$null").
  [[nodiscard]] const Object& at(Uid uid) const;
  /// Entry `uid`, or nullptr where it is nothing.
  [[nodiscard]] const Object* atIfAny(Uid uid) const;

  /// The class of an entry that is a dictionary in the property list. `errorsAllowed`: an error is
  /// allowed here whatever the list of classes says. Fails when there is no usable class entry.
  Class classOf(const Object& object, bool errorsAllowed);

  /// Field `key` of `object`, or none. Fails when too many fields were looked at.
  const Object& field(const Object& object, std::string_view key);

  /// The value of pair `position` of `object`, counted as `field` counts.
  const Object& fieldAt(const Object& object, std::size_t position);

  /// The text `object`, counted against the limit.
  std::string text(const Object& object);
  /// Copies the text of an entry that is a text or an object which holds one; false for others.
  bool copyTextAt(Uid uid, std::string& into);
  /// The text in an object of the class NSString.
  const Object& boxedText(const Object& object);

  /// The value of an integer in the property list.
  static Value integer(const Object& object);

  /// Counts `count` keys or values against the limit.
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
