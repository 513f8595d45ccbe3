#include "SharedComponents/KeyedArchive/ArchiveObjects.h"

#include "SharedComponents/KeyedArchive/ArchiveNames.h"
#include "SharedComponents/KeyedArchive/MalformedArchive.h"

namespace corvane {
namespace {

using Kind = BinaryPropertyList::Kind;

}  // namespace

ArchiveObjects::ArchiveObjects(const BinaryPropertyList& list, const ArchivableClasses& classes,
                               std::size_t textBytes)
    : list_(list), classes_(classes), textBytesLeft_(textBytes) {
  const Object& archive = list_.top();
  if (archive.kind != Kind::dictionary) throw MalformedArchive{"the top object is no dictionary"};
  const auto& version = list_.find(archive, ArchiveNames::version);
  if (version.kind != Kind::integer || version.integer().isNegative ||
      version.integer().bits != ArchiveNames::archiveVersion) {
    throw MalformedArchive{"not a keyed archive of a known version"};
  }
  const auto& archiver = list_.find(archive, ArchiveNames::archiver);
  if (archiver.kind != Kind::text || !archiver.textEquals(ArchiveNames::keyedArchiver))
    throw MalformedArchive{"not an archive of the keyed archiver"};
  const auto& objects = list_.find(archive, ArchiveNames::objects);
  if (objects.kind != Kind::array) throw MalformedArchive{"the archive has no objects"};
  objects_ = objects;
  const auto& top = list_.find(archive, ArchiveNames::top);
  if (top.kind != Kind::dictionary) throw MalformedArchive{"the archive has no top"};
  const auto& root = list_.find(top, ArchiveNames::root);
  if (root.kind != Kind::uid) throw MalformedArchive{"the archive has no root"};
  root_ = root.uid();
}

/// Returns the index of object `uid` in the property list.
inline BinaryPropertyList::Index ArchiveObjects::indexOf(Uid uid) const {
  if (uid >= objects_.count) throw MalformedArchive{"a reference leads to no object"};
  return list_.element(objects_, uid);
}

const ArchiveObjects::Object* ArchiveObjects::atIfAny(Uid uid) const {
  const Object& object = list_.object(indexOf(uid));
  const bool isNothing = object.kind == Kind::text &&
                         object.count == ArchiveNames::nothing.size() &&
                         object.textEquals(ArchiveNames::nothing);
  return isNothing ? nullptr : &object;
}

const ArchiveObjects::Object& ArchiveObjects::at(Uid uid) const {
  const Object* const object = atIfAny(uid);
  if (object == nullptr) throw MalformedArchive{"a reference leads to nothing"};
  return *object;
}

ArchiveObjects::Class ArchiveObjects::classOf(const Object& object, bool errorsAllowed) {
  const auto& reference = field(object, ArchiveNames::objectClass);
  if (reference.kind != Kind::uid) throw MalformedArchive{"an object has no class"};
  const Object& entry = at(reference.uid());
  if (entry.kind != Kind::dictionary) throw MalformedArchive{"a class is no class entry"};
  const auto& name = field(entry, ArchiveNames::className);
  if (name.kind != Kind::text) throw MalformedArchive{"a class has no name"};
  if (const auto known = knownClass(name, errorsAllowed)) return *known;
  return superclassOf(entry, errorsAllowed);
}

/// Returns the class called `name`, without regard to superclasses; nothing if it is unknown.
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

/// Returns the nearest known superclass of a class whose name is unknown. A subclass of a record is
/// not allowed.
ArchiveObjects::Class ArchiveObjects::superclassOf(const Object& entry, bool errorsAllowed) {
  const auto& names = field(entry, ArchiveNames::classes);
  if (!names) return {};
  if (names.kind != Kind::array) throw MalformedArchive{"a class has no list of classes"};
  countFields(names.count);
  std::optional<Class> found;
  for (std::size_t i = 0; i < names.count; ++i) {
    const Object& name = list_.object(list_.element(names, i));
    if (name.kind != Kind::text) throw MalformedArchive{"a class has no name"};
    const auto known = knownClass(name, errorsAllowed);
    if (known && known->kind == Class::Kind::record) return {};
    if (!found) found = known;
  }
  return found.value_or(Class{});
}

const ArchiveObjects::Object& ArchiveObjects::field(const Object& object, std::string_view key) {
  countFields(object.count);
  return list_.find(object, key);
}

const ArchiveObjects::Object& ArchiveObjects::fieldAt(const Object& object, std::size_t position) {
  countFields(object.count);
  return list_.object(list_.value(object, position));
}

std::string ArchiveObjects::text(const Object& object) {
  // At most: two bytes of UTF-16 become at most three bytes of UTF-8.
  const std::size_t bytes = object.payload().size() * 3 / 2;
  if (bytes > textBytesLeft_) throw MalformedArchive{"the texts are too long together"};
  textBytesLeft_ -= bytes;
  return object.text();
}

bool ArchiveObjects::copyTextAt(Uid uid, std::string& into) {
  const Object* const entry = atIfAny(uid);
  if (entry == nullptr) return false;
  if (entry->kind == Kind::text) {
    into = text(*entry);
    return true;
  }
  if (entry->kind != Kind::dictionary) return false;
  if (classOf(*entry, false).kind != Class::Kind::text) return false;
  into = text(boxedText(*entry));
  return true;
}

const ArchiveObjects::Object& ArchiveObjects::boxedText(const Object& object) {
  const auto& content = field(object, ArchiveNames::string);
  if (content.kind != Kind::text) throw MalformedArchive{"a string object holds no text"};
  return content;
}

Value ArchiveObjects::integer(const Object& object) {
  const auto integer = object.integer();
  return integer.isNegative ? Value(static_cast<std::int64_t>(integer.bits)) : Value(integer.bits);
}

void ArchiveObjects::countValues(std::size_t count) {
  if (count > valuesLeft_) throw MalformedArchive{"there are too many values"};
  valuesLeft_ -= count;
}

void ArchiveObjects::countFields(std::size_t count) {
  if (count > fieldsLeft_) throw MalformedArchive{"the objects have too many fields"};
  fieldsLeft_ -= count;
}

}  // namespace corvane
