#include "SharedComponents/KeyedArchive/ArchiveReader.h"

#include <algorithm>
#include <string>
#include <utility>

#include "SharedComponents/KeyedArchive/ArchiveNames.h"
#include "SharedComponents/KeyedArchive/MalformedArchive.h"

namespace corvane {
namespace {

using Kind = BinaryPropertyList::Kind;

std::int64_t signedInteger(const BinaryPropertyList::Object& stored, const char* fault) {
  if (stored.kind == Kind::integer) {
    const Value integer = ArchiveObjects::integer(stored);
    if (const auto* number = integer.as<std::int64_t>()) return *number;
  }
  throw MalformedArchive{fault};
}

}  // namespace

bool ArchiveReader::read(Uid uid, Place place, Value& into) {
  const Object& entry = objects_.at(uid);
  switch (entry.kind) {
    case Kind::boolean:
      into = entry.boolean();
      return true;
    case Kind::integer:
      into = ArchiveObjects::integer(entry);
      return true;
    case Kind::real:
      into = entry.real();
      return true;
    case Kind::text:
      into.makeText() = objects_.text(entry);
      return true;
    case Kind::dictionary:
      return readObject(entry, place, into);
    case Kind::data:
    case Kind::date:
      if (place.inUserInfo) return false;
      throw MalformedArchive{"an object is of a class that is not allowed"};
    case Kind::uid:
    case Kind::array:
    case Kind::none:
      break;
  }
  throw MalformedArchive{"an entry is no object"};
}

bool ArchiveReader::readObject(const Object& object, Place place, Value& into) {
  using Class = ArchiveObjects::Class;
  const Class objectClass = objects_.classOf(object, place.inUserInfo);
  switch (objectClass.kind) {
    case Class::Kind::null:
      into = Value();
      return true;
    case Class::Kind::number:
      return false;  // archivers store plain numbers without an object
    case Class::Kind::text:
      into.makeText() = objects_.text(objects_.boxedText(object));
      return true;
    case Class::Kind::notAllowed:
      if (place.inUserInfo) return false;
      throw MalformedArchive{"an object is of a class that is not allowed"};
    default:
      break;
  }
  if (place.depth > ArchiveLimits::maximumDepth)
    throw MalformedArchive{"objects are nested too deeply or contain themselves"};
  if (objectClass.kind == Class::Kind::dictionary)
    return readDictionary(object, place, into.makeDictionary());
  if (objectClass.kind == Class::Kind::error)
    into = error(object, place);
  else
    into = record(object, *objectClass.record);
  return true;
}

/// The first of several equal keys counts. Returns false if the dictionary must be skipped because
/// a key is not a string; in user info only that entry is skipped.
bool ArchiveReader::readDictionary(const Object& object, Place place, Dictionary& into) {
  const Object& keys = references(object, ArchiveNames::keys);
  const Object& values = references(object, ArchiveNames::values);
  const std::size_t count = keys.count;
  if (values.count != count) throw MalformedArchive{"a dictionary has other keys than values"};
  objects_.countValues(2 * count);
  into.reserve(count);
  bool isExpressed = true;
  for (std::size_t i = 0; i < count; ++i) {
    const Uid keyUid = reference(keys, i);
    const Uid valueUid = reference(values, i);
    DictionaryEntry& entry = into.addEntry();
    const bool hasKey = readKey(keyUid, place.below(), entry.key);
    const bool hasValue = read(valueUid, place.below(), entry.value);
    if (!hasKey) isExpressed = isExpressed && place.inUserInfo;
    if (!hasKey || !hasValue) into.removeLast();
  }
  into.dropRepeatedKeys();
  return isExpressed;
}

/// Reads a key of a dictionary; returns false if it is not a string.
bool ArchiveReader::readKey(Uid uid, Place place, std::string& into) {
  const Object& entry = objects_.at(uid);
  if (entry.kind == Kind::text) {  // nearly always
    into = objects_.text(entry);
    return true;
  }
  Value key;
  auto* const text = read(uid, place, key) ? key.as<std::string>() : nullptr;
  if (text == nullptr) return false;
  into = std::move(*text);
  return true;
}

/// Returns the field `key`, which must be an array.
const ArchiveReader::Object& ArchiveReader::references(const Object& object, std::string_view key) {
  const auto& array = objects_.field(object, key);
  if (array.kind != Kind::array)
    throw MalformedArchive{"a dictionary lacks its keys or its values"};
  return array;
}

ArchiveReader::Uid ArchiveReader::reference(const Object& array, std::size_t position) const {
  const Object& uid = objects_.list().object(objects_.list().element(array, position));
  if (uid.kind != Kind::uid)
    throw MalformedArchive{"a dictionary holds something else than objects"};
  return uid.uid();
}

Record ArchiveReader::record(const Object& object, const RecordClass& recordClass) {
  Record record{&recordClass, {}};
  record.fields.resize(recordClass.fields.size());
  const auto& order = recordClass.storedOrder;
  const bool isInOrder = isInStoredOrder(object, recordClass);
  for (std::size_t i = 0; i < record.fields.size(); ++i) {
    const RecordField& field = recordClass.fields[i];
    const auto position = std::find(order.begin(), order.end(), i) - order.begin();
    const auto& stored = isInOrder ? objects_.fieldAt(object, static_cast<std::size_t>(position))
                                   : objects_.field(object, field.key);
    readField(stored, field.kind, record.fields[i]);
  }
  return record;
}

/// Whether the keys of `object` are exactly those of `recordClass` in the stored order, as in
/// nearly all archives. Then fields are found by position, otherwise by a search for each.
bool ArchiveReader::isInStoredOrder(const Object& object, const RecordClass& recordClass) const {
  const auto& order = recordClass.storedOrder;
  if (object.count != order.size()) return false;
  for (std::size_t i = 0; i < order.size(); ++i) {
    const bool isField = order[i] < recordClass.fields.size();
    const auto name = isField ? recordClass.fields[order[i]].key : ArchiveNames::objectClass;
    const auto& list = objects_.list();
    if (!list.object(list.key(object, i)).textEquals(name)) return false;
  }
  return true;
}

/// Leaves `into` null if the field is missing, or should be a string and is none.
void ArchiveReader::readField(const Object& stored, RecordField::Kind kind, Value& into) {
  if (!stored) return;
  switch (kind) {
    case RecordField::Kind::boolean:
      if (stored.kind != Kind::boolean) throw MalformedArchive{"a field of a record is no boolean"};
      into = stored.boolean();
      break;
    case RecordField::Kind::integer:
      into = signedInteger(stored, "a field of a record is no 64-bit integer");
      break;
    case RecordField::Kind::text:
      if (stored.kind == Kind::uid && !objects_.copyTextAt(stored.uid(), into.makeText()))
        into = Value();
      break;
  }
}

ErrorObject ArchiveReader::error(const Object& object, Place place) {
  ErrorObject error;
  const auto& domain = objects_.field(object, ArchiveNames::errorDomain);
  if (domain.kind != Kind::uid) throw MalformedArchive{"an error has no domain"};
  if (!objects_.copyTextAt(domain.uid(), error.domain))
    throw MalformedArchive{"an error's domain is no text"};
  if (const auto& code = objects_.field(object, ArchiveNames::errorCode))
    error.code = signedInteger(code, "an error's code is no 64-bit integer");
  error.userInfo = userInfo(object, place);
  return error;
}

std::optional<Dictionary> ArchiveReader::userInfo(const Object& object, Place place) {
  const auto& field = objects_.field(object, ArchiveNames::errorUserInfo);
  if (!field) return std::nullopt;
  if (field.kind != Kind::uid) throw MalformedArchive{"an error's user info is no object"};
  if (objects_.atIfAny(field.uid()) == nullptr) return std::nullopt;
  Value info;
  if (!read(field.uid(), {place.depth + 1, true}, info)) return std::nullopt;
  auto* const dictionary = info.as<Dictionary>();
  if (dictionary == nullptr) return std::nullopt;
  return std::move(*dictionary);
}

}  // namespace corvane
