#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "SharedComponents/KeyedArchive/ArchiveObjects.h"

namespace corvane {

/// Makes values of the objects in an archive, by their numbers. Goes into objects no deeper than is
/// allowed, and so ends where they contain themselves. A part of `KeyedUnarchiver`, whose header
/// says what is refused and what is left out.
class ArchiveReading {
 public:
  using Object = ArchiveObjects::Object;
  using Uid = ArchiveObjects::Uid;

  /// A value, or nothing for what no value can express.
  using Expressed = std::optional<Value>;

  /// Where an object stands: how deep, and whether inside an error's user info.
  struct Place {
    unsigned depth = 1;
    bool inUserInfo = false;

    [[nodiscard]] Place below() const { return {depth + 1, inUserInfo}; }
  };

  /// `objects` must outlive this.
  explicit ArchiveReading(ArchiveObjects& objects) : objects_(objects) {}

  Result<Expressed> value(Uid uid, Place place);

 private:
  Result<Expressed> object(const Object& object, Place place);
  Result<Expressed> text(const Object& object);
  Result<Expressed> dictionary(const Object& object, Place place);
  Result<Object> references(const Object& object, std::string_view key);
  Result<Uid> reference(const Object& array, std::size_t position);
  Result<Expressed> record(const Object& object, const RecordClass& recordClass);
  Result<Value> recordField(const Object& object, const RecordField& field);
  Result<Expressed> error(const Object& object, Place place);
  Result<std::optional<Dictionary>> userInfo(const Object& object, Place place);

  ArchiveObjects& objects_;
};

}  // namespace corvane
