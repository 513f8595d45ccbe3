#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "Base/ErrorObject.h"
#include "Base/Record.h"
#include "SharedComponents/KeyedArchive/ArchiveObjects.h"

namespace corvane {

/// Converts the objects in an archive to values, recursively from a given number. The depth limit
/// also ends cycles of objects that contain themselves. A part of `KeyedUnarchiver`, whose header
/// says what is rejected and what is skipped. Throws `MalformedArchive` for what is rejected. Not
/// thread-safe.
class ArchiveReader {
 public:
  using Object = ArchiveObjects::Object;
  using Uid = ArchiveObjects::Uid;

  /// The position of an object: its depth, 1 for the root, and whether it is in an error's user
  /// info, where anything unknown is skipped rather than rejected.
  struct Place {
    unsigned depth = 1;
    bool inUserInfo = false;

    /// The position of its parts.
    [[nodiscard]] Place below() const { return {depth + 1, inUserInfo}; }
  };

  /// `objects` must outlive this object.
  explicit ArchiveReader(ArchiveObjects& objects) : objects_(objects) {}

  /// Reads object `uid` into `into`. Returns false, with `into` unspecified, for an object that is
  /// allowed but that no value can express; the caller skips it.
  bool read(Uid uid, Place place, Value& into);

 private:
  bool readObject(const Object& object, Place place, Value& into);
  bool readKey(Uid uid, Place place, std::string& into);
  bool readDictionary(const Object& object, Place place, Dictionary& into);
  const Object& references(const Object& object, std::string_view key);
  [[nodiscard]] Uid reference(const Object& array, std::size_t position) const;
  Record record(const Object& object, const RecordClass& recordClass);
  [[nodiscard]] bool isInStoredOrder(const Object& object, const RecordClass& recordClass) const;
  void readField(const Object& stored, RecordField::Kind kind, Value& into);
  ErrorObject error(const Object& object, Place place);
  std::optional<Dictionary> userInfo(const Object& object, Place place);

  ArchiveObjects& objects_;
};

}  // namespace corvane
