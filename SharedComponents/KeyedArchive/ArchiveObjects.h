#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "Base/BinaryPropertyList.h"
#include "SharedComponents/KeyedArchive/ArchiveLimits.h"
#include "SharedComponents/KeyedArchive/KeyedUnarchiver.h"

namespace corvane {

/// The list of objects in an archive: its entries by number, the class of each, and the counts of
/// what was looked at, kept against `ArchiveLimits`. A part of `KeyedUnarchiver`; refers to the
/// bytes and the classes that it is opened with.
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

  /// Checks the frame: the property list, the names and the version on top, the list of objects.
  static Result<ArchiveObjects> open(ByteView bytes, const ArchivableClasses& classes);

  [[nodiscard]] Uid root() const { return root_; }
  [[nodiscard]] const BinaryPropertyList& list() const { return list_; }

  /// Entry `uid`. Fails when there is none, or when it is nothing ("$null").
  Result<Object> at(Uid uid);
  /// Entry `uid`, or nothing where it is nothing.
  Result<std::optional<Object>> atIfAny(Uid uid);

  /// The class of an entry that is a dictionary in the property list. `errorsAllowed`: an error is
  /// allowed here whatever the list of classes says. Fails when there is no usable class entry.
  Result<Class> classOf(const Object& object, bool errorsAllowed);

  /// Field `key` of `object`, if it is there. Fails when too many fields were looked at.
  Result<std::optional<Object>> field(const Object& object, std::string_view key);

  /// The text, counted against the limit.
  Result<std::string> text(const Object& object);
  /// The text of an entry that is a text or an object which holds one; nothing for other objects.
  Result<std::optional<std::string>> textAt(Uid uid);

  /// The value of an integer in the property list.
  static Value integer(const Object& object);

  /// Counts `count` keys or values against the limit.
  Result<Done> countValues(std::size_t count);

 private:
  ArchiveObjects(const BinaryPropertyList& list, const ArchivableClasses& classes)
      : list_(list), classes_(classes) {}

  Result<Done> readFrame();
  Result<Class> superclassOf(const Object& entry, bool errorsAllowed);
  [[nodiscard]] std::optional<Class> knownClass(const Object& name, bool errorsAllowed) const;
  Result<Done> countFields(std::size_t count);

  BinaryPropertyList list_;
  const ArchivableClasses& classes_;
  Object objects_;
  Uid root_ = 0;
  std::size_t valuesLeft_ = ArchiveLimits::maximumValues;
  std::size_t fieldsLeft_ = ArchiveLimits::maximumFields;
  std::size_t textBytesLeft_ = 0;
};

}  // namespace corvane
