#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "Base/ErrorObject.h"
#include "Base/Record.h"
#include "SharedComponents/KeyedArchive/ArchiveObjects.h"

namespace corvane {

/// Makes values of the objects in an archive, by their numbers. Goes into objects no deeper than is
/// allowed, and so ends where they contain themselves. A part of `KeyedUnarchiver`, whose header
/// says what is refused and what is left out. What is refused throws `MalformedArchive`.
class ArchiveReader {
 public:
  using Object = ArchiveObjects::Object;
  using Uid = ArchiveObjects::Uid;

  /// Where an object stands: how deep, and whether inside an error's user info.
  struct Place {
    unsigned depth = 1;
    bool inUserInfo = false;

    [[nodiscard]] Place below() const { return {depth + 1, inUserInfo}; }
  };

  /// `objects` must outlive this.
  explicit ArchiveReader(ArchiveObjects& objects) : objects_(objects) {}

  /// Reads entry `uid` into `into`; false for what no value can express.
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
