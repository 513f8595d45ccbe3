#include "SharedComponents/KeyedArchive/ArchiveReading.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>

#include "SharedComponents/KeyedArchive/ArchiveNames.h"

namespace corvane {
namespace {

using Kind = BinaryPropertyList::Kind;

Failure malformed(const char* reason) {
  return {FailureCause::malformed, reason};
}

/// Makes a dictionary of entries; of those with equal keys the first one counts.
class Filling {
 public:
  explicit Filling(std::size_t count) : isLarge_(count > fewEntries) {
    isLarge_ ? entries_.reserve(count) : dictionary_.reserve(count);
  }

  void append(std::string key, Value value) {
    if (isLarge_) {
      entries_.push_back({std::move(key), std::move(value)});
    } else if (dictionary_.find(key) == nullptr) {
      dictionary_.append(std::move(key), std::move(value));
    }
  }

  Dictionary take() {
    if (isLarge_) addEntries();
    return std::move(dictionary_);
  }

 private:
  static constexpr std::size_t fewEntries = 16;

  /// Equal keys are found by sorting: keys that are chosen for a hash table can make each look-up a
  /// walk through all of them.
  void addEntries() {
    std::vector<std::size_t> order(entries_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto key = [this](std::size_t index) -> const std::string& {
      return entries_[index].key;
    };
    std::sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
      const int difference = key(left).compare(key(right));
      return difference != 0 ? difference < 0 : left < right;
    });
    std::vector<bool> isRepeated(entries_.size());
    for (std::size_t i = 1; i < order.size(); ++i)
      isRepeated[order[i]] = key(order[i]) == key(order[i - 1]);
    dictionary_.reserve(entries_.size());
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      auto& [name, value] = entries_[i];
      if (!isRepeated[i]) dictionary_.append(std::move(name), std::move(value));
    }
  }

  const bool isLarge_;
  Dictionary dictionary_;
  std::vector<DictionaryEntry> entries_;  // of a large dictionary
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
