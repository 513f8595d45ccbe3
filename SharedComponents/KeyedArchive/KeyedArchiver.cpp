#include "SharedComponents/KeyedArchive/KeyedArchiver.h"

#include <algorithm>

#include "Base/BinaryPropertyListWriter.h"
#include "SharedComponents/KeyedArchive/ArchiveNames.h"
#include "SharedComponents/KeyedArchive/ArchiveNumbering.h"
#include "SharedComponents/KeyedArchive/MalformedArchive.h"

namespace corvane {
namespace {

using Index = BinaryPropertyListWriter::Index;
using Uid = ArchiveNumbering::Uid;
using Entry = ArchiveNumbering::Entry;

constexpr Uid rootUid = 1;

// Writes the numbered objects as a property list. The keys of an object are in the order of
// Foundation's hash table; no reader depends on it, but archives can be compared byte by byte.
class ArchiveWriter {
 public:
  ArchiveWriter(ArchiveNumbering& numbering, std::size_t referenceWidth)
      : numbering_(numbering), list_(referenceWidth, numbering.sizeEstimate()) {}

  void writeAll();
  BinaryPropertyListWriter& list() { return list_; }

  // One for each kind of object; `std::visit` needs them public.
  Index operator()(ArchiveNumbering::Nothing) { return addText(ArchiveTexts::nothing); }
  Index operator()(ArchiveNumbering::Text text) { return addText(text.id); }
  Index operator()(const Value* scalar) { return addScalar(*scalar); }
  Index operator()(ArchiveNumbering::BoxedText);
  Index operator()(Value::Null);
  Index operator()(const Dictionary* dictionary);
  Index operator()(const Record* record);
  Index operator()(const ErrorObject* error);
  Index operator()(const ArchiveNumbering::ClassEntry& objectClass);

 private:
  BinaryPropertyListWriter::Container addObject(std::initializer_list<ArchiveTexts::Id> keys);
  Index addText(ArchiveTexts::Id id);
  Index addScalar(const Value& scalar);
  Index addReferences(std::size_t first, std::size_t count) {
    return list_.addUids(numbering_.references(*entry_, first, count));
  }
  Index addReference(std::size_t position) {
    return list_.addUid(numbering_.references(*entry_, position, 1).front());
  }
  Index addClassUid() { return list_.addUid(entry_->classUid); }
  Index addField(const Record& record, std::size_t position);

  ArchiveNumbering& numbering_;
  BinaryPropertyListWriter list_;
  const Entry* entry_ = nullptr;  // the object that is being written
};

void ArchiveWriter::writeAll() {
  const auto archive = addObject(
      {ArchiveTexts::version, ArchiveTexts::archiver, ArchiveTexts::top, ArchiveTexts::objects});
  list_.setValue(archive, 0, list_.addInteger(ArchiveNames::archiveVersion));
  list_.setValue(archive, 1, addText(ArchiveTexts::keyedArchiver));
  const auto top = addObject({ArchiveTexts::root});
  list_.setValue(archive, 2, top.index);
  list_.setValue(top, 0, list_.addUid(rootUid));

  const auto entries = numbering_.entries();
  const auto objects = list_.addArray(entries.size());
  list_.setValue(archive, 3, objects.index);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    entry_ = &entries[i];
    list_.setElement(objects, i, std::visit(*this, entry_->content));
  }
}

/// Adds a dictionary and sets its keys; the caller sets the values.
BinaryPropertyListWriter::Container ArchiveWriter::addObject(
    std::initializer_list<ArchiveTexts::Id> keys) {
  const auto object = list_.addDictionary(keys.size());
  std::size_t position = 0;
  for (const ArchiveTexts::Id key : keys) list_.setKey(object, position++, addText(key));
  return object;
}

/// Writes a string unless an equal one has been written; returns its index.
Index ArchiveWriter::addText(ArchiveTexts::Id id) {
  ArchiveTexts& texts = numbering_.texts();
  auto& place = texts.use(id).place;
  if (place == 0) place = static_cast<std::uint32_t>(list_.addText(texts.view(id)));
  return place;
}

Index ArchiveWriter::addScalar(const Value& scalar) {
  if (const auto* boolean = scalar.as<bool>()) return list_.addBoolean(*boolean);
  if (const auto* integer = scalar.as<std::int64_t>()) return list_.addInteger(*integer);
  if (const auto* integer = scalar.as<std::uint64_t>()) return list_.addUnsigned(*integer);
  return list_.addReal(*scalar.as<double>());
}

Index ArchiveWriter::operator()(ArchiveNumbering::BoxedText) {
  const auto object = addObject({ArchiveTexts::objectClass, ArchiveTexts::string});
  list_.setValue(object, 0, addClassUid());
  list_.setValue(object, 1, addText(ArchiveTexts::nothing));
  return object.index;
}

Index ArchiveWriter::operator()(Value::Null) {
  const auto object = addObject({ArchiveTexts::objectClass});
  list_.setValue(object, 0, addClassUid());
  return object.index;
}

Index ArchiveWriter::operator()(const Dictionary* dictionary) {
  const auto object =
      addObject({ArchiveTexts::keys, ArchiveTexts::values, ArchiveTexts::objectClass});
  const std::size_t count = dictionary->size();
  list_.setValue(object, 0, addReferences(0, count));
  list_.setValue(object, 1, addReferences(count, count));
  list_.setValue(object, 2, addClassUid());
  return object.index;
}

Index ArchiveWriter::operator()(const Record* record) {
  const RecordClass& recordClass = *record->recordClass;
  const auto isClass = [&](std::size_t position) { return position == recordClass.fields.size(); };
  const auto isStored = [&](std::size_t position) {
    return isClass(position) || !record->fields[position].isNull();
  };
  const auto& order = recordClass.storedOrder;
  const auto count = std::count_if(order.begin(), order.end(), isStored);
  const auto object = list_.addDictionary(static_cast<std::size_t>(count));
  std::size_t next = 0;
  for (const std::size_t position : order) {
    if (isClass(position))
      list_.setKey(object, next++, addText(ArchiveTexts::objectClass));
    else if (isStored(position))
      list_.setKey(object, next++,
                   addText(numbering_.texts().idOf(recordClass.fields[position].key)));
  }
  next = 0;
  for (const std::size_t position : order) {
    if (isClass(position))
      list_.setValue(object, next++, addClassUid());
    else if (isStored(position))
      list_.setValue(object, next++, addField(*record, position));
  }
  return object.index;
}

Index ArchiveWriter::addField(const Record& record, std::size_t position) {
  const Value& field = record.fields[position];
  return field.as<std::string>() != nullptr ? addReference(position) : addScalar(field);
}

Index ArchiveWriter::operator()(const ErrorObject* error) {
  const auto object = addObject({ArchiveTexts::errorCode, ArchiveTexts::errorUserInfo,
                                 ArchiveTexts::errorDomain, ArchiveTexts::objectClass});
  list_.setValue(object, 0, list_.addInteger(error->code));
  list_.setValue(object, 1, addReference(1));
  list_.setValue(object, 2, addReference(0));
  list_.setValue(object, 3, addClassUid());
  return object.index;
}

Index ArchiveWriter::operator()(const ArchiveNumbering::ClassEntry& objectClass) {
  // Foundation shares equal strings if they are the same object. Strings of up to seven characters
  // are packed into the pointer, so equal ones are the same; a longer class name is a new string
  // each time, except for Foundation's own classes.
  constexpr std::size_t packedLength = 7;
  const auto object = addObject({ArchiveTexts::className, ArchiveTexts::classes});
  list_.setValue(object, 0, addText(objectClass.name));
  const std::string_view name = numbering_.texts().view(objectClass.name);
  const auto classes = list_.addArray(2);
  list_.setValue(object, 1, classes.index);
  const bool isNamedTwice = objectClass.isNamedTwice && name.size() > packedLength;
  list_.setElement(classes, 0, isNamedTwice ? list_.addText(name) : addText(objectClass.name));
  list_.setElement(classes, 1, addText(ArchiveTexts::objectBaseClass));
  return object.index;
}

Failure tooLong() {
  return {FailureCause::noSpace, "the archive is too long"};
}

}  // namespace

Result<std::string> KeyedArchiver::archive(const Value& root, std::size_t limit) try {
  ArchiveNumbering numbering(root);
  if (numbering.leastTextBytes() > limit) return tooLong();
  // The width of references depends on the number of property list objects, which is known only at
  // the end. It is at least the number of archived objects; so only an archive just below a limit
  // of a width is written twice.
  std::size_t width = BinaryPropertyListWriter::referenceWidthFor(numbering.entries().size());
  for (;;) {
    ArchiveWriter writer(numbering, width);
    writer.writeAll();
    if (writer.list().referenceWidthSuffices()) {
      std::string archive = writer.list().finish();
      if (archive.size() > limit) return tooLong();
      return archive;
    }
    width = BinaryPropertyListWriter::referenceWidthFor(writer.list().objectCount());
    numbering.texts().forgetPlaces();
  }
} catch (const MalformedArchive& fault) {
  return Failure{FailureCause::malformed, fault.reason};
}

}  // namespace corvane
