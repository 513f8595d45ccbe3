#include <string>
#include <utility>

#include "Base/ErrorObject.h"
#include "SharedComponents/KeyedArchive/ArchiveNames.h"
#include "SharedComponents/KeyedArchive/ArchiveReading.h"

namespace corvane {
namespace {

using Kind = BinaryPropertyList::Kind;

Failure malformed(const char* reason) {
  return {FailureCause::malformed, reason};
}

}  // namespace

Result<ArchiveReading::Expressed> ArchiveReading::record(const Object& object,
                                                         const RecordClass& recordClass) {
  Record record{&recordClass, {}};
  record.fields.reserve(recordClass.fields.size());
  for (const RecordField& field : recordClass.fields) {
    auto value = recordField(object, field);
    if (!value) return value.failure();
    record.fields.push_back(std::move(value).value());
  }
  return Expressed(std::move(record));
}

Result<Value> ArchiveReading::recordField(const Object& object, const RecordField& field) {
  const auto content = objects_.field(object, field.key);
  if (!content) return content.failure();
  if (!content.value()) return Value();
  const Object& stored = *content.value();
  switch (field.kind) {
    case RecordField::Kind::boolean:
      if (stored.kind != Kind::boolean) return malformed("a field of a record is no boolean");
      return Value(stored.boolean());
    case RecordField::Kind::integer: {
      Value integer = stored.kind == Kind::integer ? ArchiveObjects::integer(stored) : Value();
      if (integer.as<std::int64_t>() == nullptr)
        return malformed("a field of a record is no 64-bit integer");
      return integer;
    }
    case RecordField::Kind::text:
      break;
  }
  if (stored.kind != Kind::uid) return Value();
  auto text = objects_.textAt(stored.uid());
  if (!text) return text.failure();
  return text.value() ? Value(std::move(*text.value())) : Value();
}

Result<ArchiveReading::Expressed> ArchiveReading::error(const Object& object, Place place) {
  ErrorObject error;
  const auto domain = objects_.field(object, ArchiveNames::errorDomain);
  if (!domain) return domain.failure();
  if (!domain.value() || domain.value()->kind != Kind::uid)
    return malformed("an error has no domain");
  auto text = objects_.textAt(domain.value()->uid());
  if (!text) return text.failure();
  if (!text.value()) return malformed("an error's domain is no text");
  error.domain = std::move(*text.value());

  const auto code = objects_.field(object, ArchiveNames::errorCode);
  if (!code) return code.failure();
  if (code.value()) {
    const Value integer =
        code.value()->kind == Kind::integer ? ArchiveObjects::integer(*code.value()) : Value();
    if (integer.as<std::int64_t>() == nullptr)
      return malformed("an error's code is no 64-bit integer");
    error.code = *integer.as<std::int64_t>();
  }
  auto info = userInfo(object, place);
  if (!info) return info.failure();
  error.userInfo = std::move(info).value();
  return Expressed(std::move(error));
}

Result<std::optional<Dictionary>> ArchiveReading::userInfo(const Object& object, Place place) {
  const auto field = objects_.field(object, ArchiveNames::errorUserInfo);
  if (!field) return field.failure();
  if (!field.value()) return {std::nullopt};
  if (field.value()->kind != Kind::uid) return malformed("an error's user info is no object");
  const auto entry = objects_.atIfAny(field.value()->uid());
  if (!entry) return entry.failure();
  if (!entry.value()) return {std::nullopt};
  auto info = value(field.value()->uid(), {place.depth + 1, true});
  if (!info) return info.failure();
  auto* dictionary = info.value() ? info.value()->as<Dictionary>() : nullptr;
  if (dictionary == nullptr) return {std::nullopt};
  return {std::move(*dictionary)};
}

}  // namespace corvane
