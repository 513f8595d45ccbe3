#include "tools/corvane-nmctl/MainAppCheck/RawArchive.h"

#include <cstdint>
#include <utility>
#include <vector>

#include "Base/BinaryPropertyListWriter.h"
#include "SharedComponents/KeyedArchive/ArchiveNames.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"

namespace corvane::Nmctl::MainAppCheck {
namespace {

using Index = BinaryPropertyListWriter::Index;
using Uid = std::uint32_t;

/// Where everything stands in the list of objects.
enum Place : Uid {
  root = 1,
  null,
  dictionaryClass,
  nullClass,
  idKey,
  nameKey,
  bodyKey,
  otherKey,
  id,
  name,
  firstKey,  // of the dictionaries inside, which are the letters from "a"
  firstLevel = firstKey + 16,
};

/// Writes one such archive, with references that are wide enough for any.
class Writing {
 public:
  explicit Writing(const RawRequest& request) : request_(request) {}

  std::string run() {
    const auto archive = list_.addDictionary(4);
    set(archive, 0, ArchiveNames::version, list_.addInteger(ArchiveNames::archiveVersion));
    set(archive, 1, ArchiveNames::archiver, list_.addText(ArchiveNames::keyedArchiver));
    const auto top = list_.addDictionary(1);
    set(archive, 2, ArchiveNames::top, top.index);
    set(top, 0, ArchiveNames::root, list_.addUid(Place::root));
    const auto objects = list_.addArray(firstLevel + request_.levels);
    set(archive, 3, ArchiveNames::objects, objects.index);
    Index position = 0;
    const auto add = [&](Index object) { list_.setElement(objects, position++, object); };
    add(list_.addText(ArchiveNames::nothing));
    add(rootObject());
    add(object({}, {}, nullClass, false));
    add(classEntry(request_.className, request_.className == ArchiveNames::mutableDictionaryClass));
    add(classEntry(std::string(ArchiveNames::nullClass), false));
    for (const std::string& text : {std::string("id"), std::string("name"), std::string("body"),
                                    request_.key, request_.id, request_.name})
      add(list_.addText(text));
    for (Uid key = firstKey; key < firstLevel; ++key)
      add(list_.addText(std::string(1, static_cast<char>('a' + (key - firstKey)))));
    for (std::size_t level = 0; level < request_.levels; ++level) add(levelObject(level));
    return framed(list_.finish());
  }

 private:
  void set(const BinaryPropertyListWriter::Container& dictionary, std::size_t position,
           std::string_view key, Index value) {
    list_.setKey(dictionary, position, list_.addText(key));
    list_.setValue(dictionary, position, value);
  }

  Index references(const std::vector<Uid>& uids) {
    const auto array = list_.addArray(uids.size());
    for (std::size_t i = 0; i < uids.size(); ++i) list_.setElement(array, i, list_.addUid(uids[i]));
    return array.index;
  }

  Index object(const std::vector<Uid>& keys, const std::vector<Uid>& values, Uid objectClass,
               bool isDictionary = true) {
    const auto object = list_.addDictionary(isDictionary ? 3 : 1);
    set(object, 0, ArchiveNames::objectClass, list_.addUid(objectClass));
    if (!isDictionary) return object.index;
    set(object, 1, ArchiveNames::keys, references(keys));
    set(object, 2, ArchiveNames::values, references(values));
    return object.index;
  }

  Index rootObject() {
    if (request_.key == "body")
      return object({idKey, nameKey, bodyKey}, {id, name, firstLevel}, dictionaryClass);
    return object({otherKey, bodyKey, nameKey, idKey}, {firstLevel, null, name, id},
                  dictionaryClass);
  }

  Index levelObject(std::size_t level) {
    const bool isLast = level + 1 == request_.levels;
    std::vector<Uid> keys;
    for (Uid use = 0; use < (isLast ? 0 : request_.uses); ++use) keys.push_back(firstKey + use);
    const std::vector<Uid> next(keys.size(), static_cast<Uid>(firstLevel + level + 1));
    return object(keys, next, dictionaryClass);
  }

  Index classEntry(const std::string& className, bool isMutable) {
    const auto entry = list_.addDictionary(2);
    set(entry, 0, ArchiveNames::className, list_.addText(className));
    std::vector<std::string> chain = {className};
    if (isMutable) chain.emplace_back(ArchiveNames::dictionaryClass);
    chain.emplace_back(ArchiveNames::objectBaseClass);
    const auto classes = list_.addArray(chain.size());
    set(entry, 1, ArchiveNames::classes, classes.index);
    for (std::size_t i = 0; i < chain.size(); ++i)
      list_.setElement(classes, i, list_.addText(chain[i]));
    return entry.index;
  }

  const RawRequest& request_;
  BinaryPropertyListWriter list_{sizeof(Uid)};
};

}  // namespace

std::string RawRequest::bytes() const {
  return Writing(*this).run();
}

}  // namespace corvane::Nmctl::MainAppCheck
