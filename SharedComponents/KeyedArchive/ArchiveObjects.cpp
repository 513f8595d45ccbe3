#include "SharedComponents/KeyedArchive/ArchiveObjects.h"

#include "SharedComponents/KeyedArchive/ArchiveNames.h"

namespace corvane {
namespace {

using Kind = BinaryPropertyList::Kind;

Failure malformed(const char* reason) {
  return {FailureCause::malformed, reason};
}

bool isOf(const std::optional<BinaryPropertyList::Object>& object, Kind kind) {
  return object && object->kind == kind;
}

}  // namespace

Result<ArchiveObjects> ArchiveObjects::open(ByteView bytes, const ArchivableClasses& classes) {
  const auto list = BinaryPropertyList::open(bytes);
  if (!list) return list.failure();
  ArchiveObjects objects(list.value(), classes);
  objects.textBytesLeft_ = ArchiveLimits::maximumTextBytes(bytes.size());
  if (const auto read = objects.readFrame(); !read) return read.failure();
  return objects;
}

Result<Done> ArchiveObjects::readFrame() {
  const Object archive = list_.top();
  if (archive.kind != Kind::dictionary) return malformed("the top object is no dictionary");
  const auto version = list_.find(archive, ArchiveNames::version);
  if (!isOf(version, Kind::integer) || version->integer().isNegative ||
      version->integer().bits != ArchiveNames::archiveVersion) {
    return malformed("not a keyed archive of a known version");
  }
  const auto archiver = list_.find(archive, ArchiveNames::archiver);
  if (!isOf(archiver, Kind::text) || !archiver->textEquals(ArchiveNames::keyedArchiver))
    return malformed("not an archive of the keyed archiver");
  const auto objects = list_.find(archive, ArchiveNames::objects);
  if (!isOf(objects, Kind::array)) return malformed("the archive has no objects");
  objects_ = *objects;
  const auto top = list_.find(archive, ArchiveNames::top);
  if (!isOf(top, Kind::dictionary)) return malformed("the archive has no top");
  const auto root = list_.find(*top, ArchiveNames::root);
  if (!isOf(root, Kind::uid)) return malformed("the archive has no root");
  root_ = root->uid();
  return Done{};
}

Result<std::optional<ArchiveObjects::Object>> ArchiveObjects::atIfAny(Uid uid) {
  if (uid >= objects_.count) return malformed("a reference leads to no object");
  const Object object = list_.object(list_.element(objects_, uid));
  if (object.kind == Kind::text && object.textEquals(ArchiveNames::nothing)) return {std::nullopt};
  return {object};
}

Result<ArchiveObjects::Object> ArchiveObjects::at(Uid uid) {
  const auto object = atIfAny(uid);
  if (!object) return object.failure();
  if (!object.value()) return malformed("a reference leads to nothing");
  return *object.value();
}

Result<ArchiveObjects::Class> ArchiveObjects::classOf(const Object& object, bool errorsAllowed) {
  const auto reference = field(object, ArchiveNames::objectClass);
  if (!reference) return reference.failure();
  if (!isOf(reference.value(), Kind::uid)) return malformed("an object has no class");
  const auto entry = at(reference.value()->uid());
  if (!entry) return entry.failure();
  if (entry->kind != Kind::dictionary) return malformed("a class is no class entry");
  const auto name = field(entry.value(), ArchiveNames::className);
  if (!name) return name.failure();
  if (!isOf(name.value(), Kind::text)) return malformed("a class has no name");
  if (const auto known = knownClass(*name.value(), errorsAllowed)) return *known;
  return superclassOf(entry.value(), errorsAllowed);
}

/// The class that `name` stands for by itself.
std::optional<ArchiveObjects::Class> ArchiveObjects::knownClass(const Object& name,
                                                                bool errorsAllowed) const {
  const auto is = [&](std::string_view known) { return name.textEquals(known); };
  if (is(ArchiveNames::dictionaryClass) || is(ArchiveNames::mutableDictionaryClass))
    return Class{Class::Kind::dictionary};
  if (is(ArchiveNames::stringClass) || is(ArchiveNames::mutableStringClass))
    return Class{Class::Kind::text};
  if (is(ArchiveNames::nullClass)) return Class{Class::Kind::null};
  if (is(ArchiveNames::numberClass)) return Class{Class::Kind::number};
  if ((errorsAllowed || classes_.errors) && is(ArchiveNames::errorClass))
    return Class{Class::Kind::error};
  for (const RecordClass* record : classes_.records) {
    if (is(record->name)) return Class{Class::Kind::record, record};
  }
  return std::nullopt;
}

/// The first known class above one with an unknown name.
Result<ArchiveObjects::Class> ArchiveObjects::superclassOf(const Object& entry,
                                                           bool errorsAllowed) {
  const auto names = field(entry, ArchiveNames::classes);
  if (!names) return names.failure();
  if (!names.value()) return Class{};
  if (names.value()->kind != Kind::array) return malformed("a class has no list of classes");
  const Object& list = *names.value();
  if (const auto counted = countFields(list.count); !counted) return counted.failure();
  std::optional<Class> found;
  for (std::size_t i = 0; i < list.count; ++i) {
    const Object name = list_.object(list_.element(list, i));
    if (name.kind != Kind::text) return malformed("a class has no name");
    const auto known = knownClass(name, errorsAllowed);
    if (known && known->kind == Class::Kind::record) return Class{};
    if (!found) found = known;
  }
  return found.value_or(Class{});
}

Result<std::optional<ArchiveObjects::Object>> ArchiveObjects::field(const Object& object,
                                                                    std::string_view key) {
  if (const auto counted = countFields(object.count); !counted) return counted.failure();
  return list_.find(object, key);
}

Result<std::string> ArchiveObjects::text(const Object& object) {
  // A code unit of two bytes makes at most three.
  const std::size_t bytes = object.payload.size() + object.payload.size() / 2;
  if (bytes > textBytesLeft_) return malformed("the texts are too long together");
  textBytesLeft_ -= bytes;
  return object.text();
}

Result<std::optional<std::string>> ArchiveObjects::textAt(Uid uid) {
  const auto entry = atIfAny(uid);
  if (!entry) return entry.failure();
  if (!entry.value()) return {std::nullopt};
  const Object* object = &*entry.value();
  std::optional<Object> boxed;
  if (object->kind == Kind::dictionary) {
    const auto objectClass = classOf(*object, false);
    if (!objectClass) return objectClass.failure();
    if (objectClass->kind != Class::Kind::text) return {std::nullopt};
    auto content = field(*object, ArchiveNames::string);
    if (!content) return content.failure();
    if (!isOf(content.value(), Kind::text)) return malformed("a string object holds no text");
    boxed = content.value();
    object = &*boxed;
  }
  if (object->kind != Kind::text) return {std::nullopt};
  auto result = text(*object);
  if (!result) return result.failure();
  return {std::move(result).value()};
}

Value ArchiveObjects::integer(const Object& object) {
  const auto integer = object.integer();
  return integer.isNegative ? Value(static_cast<std::int64_t>(integer.bits)) : Value(integer.bits);
}

Result<Done> ArchiveObjects::countValues(std::size_t count) {
  if (count > valuesLeft_) return malformed("there are too many values");
  valuesLeft_ -= count;
  return Done{};
}

Result<Done> ArchiveObjects::countFields(std::size_t count) {
  if (count > fieldsLeft_) return malformed("the objects have too many fields");
  fieldsLeft_ -= count;
  return Done{};
}

}  // namespace corvane
