#include "SharedComponents/KeyedArchive/ArchiveReading.h"

#include <set>
#include <string>
#include <utility>

#include "SharedComponents/KeyedArchive/ArchiveNames.h"

namespace corvane {
namespace {

using Kind = BinaryPropertyList::Kind;

Failure malformed(const char* reason) {
  return {FailureCause::malformed, reason};
}

/// Puts entries into a dictionary unless their key is there already.
class Filling {
 public:
  explicit Filling(std::size_t count) : isLarge_(count > fewEntries) {
    dictionary_.reserve(count);  // so that no entry moves, and views of the keys stay good
  }

  void append(std::string key, Value value) {
    if (isLarge_ ? keys_.contains(key) : dictionary_.find(key) != nullptr) return;
    dictionary_.append(std::move(key), std::move(value));
    if (isLarge_) keys_.insert((dictionary_.end() - 1)->key);
  }

  Dictionary take() { return std::move(dictionary_); }

 private:
  static constexpr std::size_t fewEntries = 16;

  const bool isLarge_;
  Dictionary dictionary_;
  // Of a large dictionary. No hash table: keys that are chosen for it can make each look-up a walk
  // through all of them.
  std::set<std::string_view> keys_;
};

}  // namespace

Result<ArchiveReading::Expressed> ArchiveReading::value(Uid uid, Place place) {
  const auto entry = objects_.at(uid);
  if (!entry) return entry.failure();
  switch (entry->kind) {
    case Kind::boolean:
      return Expressed(entry->boolean());
    case Kind::integer:
      return Expressed(ArchiveObjects::integer(entry.value()));
    case Kind::real:
      return Expressed(entry->real());
    case Kind::text:
      return text(entry.value());
    case Kind::dictionary:
      return object(entry.value(), place);
    case Kind::data:
    case Kind::date:
      if (place.inUserInfo) return Expressed();
      return malformed("an object is of a class that is not allowed");
    case Kind::uid:
    case Kind::array:
      break;
  }
  return malformed("an entry is no object");
}

Result<ArchiveReading::Expressed> ArchiveReading::object(const Object& object, Place place) {
  using Class = ArchiveObjects::Class;
  const auto objectClass = objects_.classOf(object, place.inUserInfo);
  if (!objectClass) return objectClass.failure();
  switch (objectClass->kind) {
    case Class::Kind::null:
      return Expressed(Value());
    case Class::Kind::number:
      return Expressed();  // plain numbers are no objects of their own
    case Class::Kind::text: {
      const auto content = objects_.field(object, ArchiveNames::string);
      if (!content) return content.failure();
      if (!content.value() || content.value()->kind != Kind::text)
        return malformed("a string object holds no text");
      return text(*content.value());
    }
    case Class::Kind::notAllowed:
      if (place.inUserInfo) return Expressed();
      return malformed("an object is of a class that is not allowed");
    default:
      break;
  }
  if (place.depth > ArchiveLimits::maximumDepth)
    return malformed("objects are nested too deeply or contain themselves");
  if (objectClass->kind == Class::Kind::dictionary) return dictionary(object, place);
  if (objectClass->kind == Class::Kind::error) return error(object, place);
  return record(object, *objectClass->record);
}

Result<ArchiveReading::Expressed> ArchiveReading::text(const Object& object) {
  auto text = objects_.text(object);
  if (!text) return text.failure();
  return Expressed(std::move(text).value());
}

Result<ArchiveReading::Expressed> ArchiveReading::dictionary(const Object& object, Place place) {
  const auto keys = references(object, ArchiveNames::keys);
  if (!keys) return keys.failure();
  const auto values = references(object, ArchiveNames::values);
  if (!values) return values.failure();
  const std::size_t count = keys->count;
  if (values->count != count) return malformed("a dictionary has other keys than values");
  if (const auto counted = objects_.countValues(2 * count); !counted) return counted.failure();
  Filling filling(count);
  bool isExpressed = true;
  for (std::size_t i = 0; i < count; ++i) {
    const auto keyUid = reference(keys.value(), i);
    if (!keyUid) return keyUid.failure();
    const auto valueUid = reference(values.value(), i);
    if (!valueUid) return valueUid.failure();
    auto key = value(keyUid.value(), place.below());
    if (!key) return key;
    auto content = value(valueUid.value(), place.below());
    if (!content) return content;
    auto* text = key.value() ? key.value()->as<std::string>() : nullptr;
    if (text == nullptr)
      isExpressed = isExpressed && place.inUserInfo;
    else if (content.value())
      filling.append(std::move(*text), std::move(*content.value()));
  }
  if (!isExpressed) return Expressed();
  return Expressed(filling.take());
}

/// The field `key`, an array.
Result<ArchiveReading::Object> ArchiveReading::references(const Object& object,
                                                          std::string_view key) {
  const auto array = objects_.field(object, key);
  if (!array) return array.failure();
  if (!array.value() || array.value()->kind != Kind::array)
    return malformed("a dictionary lacks its keys or its values");
  return *array.value();
}

Result<ArchiveReading::Uid> ArchiveReading::reference(const Object& array, std::size_t position) {
  const Object element = objects_.list().object(objects_.list().element(array, position));
  if (element.kind != Kind::uid) return malformed("a dictionary holds something else than objects");
  return element.uid();
}

}  // namespace corvane
