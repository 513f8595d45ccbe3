#include "SharedComponents/KeyedArchive/ArchiveNumbering.h"

#include <algorithm>
#include <bit>
#include <functional>

#include "Base/Unicode.h"
#include "SharedComponents/KeyedArchive/ArchiveLimits.h"
#include "SharedComponents/KeyedArchive/ArchiveNames.h"

namespace corvane {
namespace {

Failure malformed(const char* reason) {
  return {FailureCause::malformed, reason};
}

Failure tooDeep() {
  return malformed("objects are nested too deeply");
}

std::size_t hashOf(const Value& scalar) {
  if (const auto* boolean = scalar.as<bool>()) return *boolean ? 1 : 2;
  if (const auto* integer = scalar.as<std::int64_t>()) return std::hash<std::int64_t>()(*integer);
  if (const auto* integer = scalar.as<std::uint64_t>()) return std::hash<std::uint64_t>()(*integer);
  return std::hash<std::uint64_t>()(std::bit_cast<std::uint64_t>(*scalar.as<double>()));
}

// Roughly what an object takes besides its text: references, UIDs, markers, its place in the table.
constexpr std::size_t bytesOfObject = 16;
constexpr std::size_t bytesOfFrame = 320;

}  // namespace

Result<Done> ArchiveNumbering::number(const Value& root) {
  entries_.reserve(32);
  references_.reserve(32);
  sizeEstimate_ = bytesOfFrame;
  add({Nothing{}});
  const auto numbered = numberValue(root, 1);
  if (!numbered) return numbered.failure();
  return Done{};
}

ArchiveNumbering::Uid ArchiveNumbering::add(Entry entry) {
  sizeEstimate_ += bytesOfObject;
  entries_.push_back(entry);
  return static_cast<Uid>(entries_.size() - 1);
}

/// Gives the object its number, and room for its references.
ArchiveNumbering::Uid ArchiveNumbering::beginObject(Entry entry, std::size_t references) {
  entry.first = references_.size();
  references_.resize(references_.size() + references);
  return add(entry);
}

void ArchiveNumbering::endObject(Uid uid, ClassEntry objectClass) {
  const Uid classUid = numberClass(objectClass);
  entries_[uid].classUid = classUid;
}

Result<ArchiveNumbering::Uid> ArchiveNumbering::numberValue(const Value& value, unsigned depth) {
  if (const auto* text = value.as<std::string>()) return numberText(*text);
  if (value.isNull()) return numberNull();
  const auto* dictionary = value.as<Dictionary>();
  const auto* record = value.as<Record>();
  const auto* error = value.as<ErrorObject>();
  if (dictionary == nullptr && record == nullptr && error == nullptr) return numberScalar(value);
  if (dictionary != nullptr) return numberDictionary(*dictionary, depth);
  if (depth > ArchiveLimits::maximumDepth) return tooDeep();
  return record != nullptr ? numberRecord(*record) : numberError(*error, depth);
}

Result<ArchiveNumbering::Uid> ArchiveNumbering::numberText(std::string_view text) {
  const std::size_t hash = std::hash<std::string_view>()(text);
  const bool isBoxed = text == ArchiveNames::nothing;
  const std::size_t known = known_.find(hash, [&](std::size_t uid) {
    const auto& content = entries_[uid].content;
    if (isBoxed) return std::holds_alternative<BoxedText>(content);
    const auto* other = std::get_if<std::string_view>(&content);
    return other != nullptr && *other == text;
  });
  if (known != HashIndex::none) return static_cast<Uid>(known);
  if (!Unicode::isWellFormed(text, Unicode::Surrogates::allowed))
    return malformed("a text is not well formed");
  Uid uid = 0;
  if (isBoxed) {
    uid = beginObject({BoxedText{}}, 0);
    endObject(uid, {ArchiveNames::stringClass, true});
  } else {
    uid = add({text});
    sizeEstimate_ += text.size();
    textBytes_ += text.size();
  }
  known_.insert(hash, uid);
  return uid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberScalar(const Value& value) {
  const std::size_t hash = hashOf(value);
  const std::size_t known = known_.find(hash, [&](std::size_t uid) {
    const auto* other = std::get_if<const Value*>(&entries_[uid].content);
    return other != nullptr && **other == value;
  });
  if (known != HashIndex::none) return static_cast<Uid>(known);
  const Uid uid = add({&value});
  known_.insert(hash, uid);
  return uid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberNull() {
  if (!null_) {
    null_ = beginObject({Value::Null{}}, 0);
    endObject(*null_, {ArchiveNames::nullClass, false});
  }
  return *null_;
}

Result<ArchiveNumbering::Uid> ArchiveNumbering::numberDictionary(const Dictionary& dictionary,
                                                                 unsigned depth) {
  if (depth > ArchiveLimits::maximumDepth) return tooDeep();
  const Uid uid = beginObject({&dictionary}, 2 * dictionary.size());
  std::size_t next = entries_[uid].first;
  for (const DictionaryEntry& entry : dictionary) {
    auto key = numberText(entry.key);
    if (!key) return key;
    references_[next++] = key.value();
  }
  for (const DictionaryEntry& entry : dictionary) {
    auto value = numberValue(entry.value, depth + 1);
    if (!value) return value;
    references_[next++] = value.value();
  }
  endObject(uid, {ArchiveNames::dictionaryClass, false});
  return uid;
}

Result<ArchiveNumbering::Uid> ArchiveNumbering::numberRecord(const Record& record) {
  const Uid uid = beginObject({&record}, record.fields.size());
  const std::size_t first = entries_[uid].first;
  for (std::size_t i = 0; i < record.fields.size(); ++i) {
    const Value& field = record.fields[i];
    if (field.isNull() || field.as<bool>() != nullptr || field.as<std::int64_t>() != nullptr)
      continue;
    const auto* text = field.as<std::string>();
    if (text == nullptr) return malformed("a record has a field of another kind");
    auto reference = numberText(*text);
    if (!reference) return reference;
    references_[first + i] = reference.value();
  }
  endObject(uid, {record.recordClass->name, true});
  return uid;
}

Result<ArchiveNumbering::Uid> ArchiveNumbering::numberError(const ErrorObject& error,
                                                            unsigned depth) {
  const Uid uid = beginObject({&error}, 2);
  const std::size_t first = entries_[uid].first;
  auto domain = numberText(error.domain);
  if (!domain) return domain;
  references_[first] = domain.value();
  if (error.userInfo) {
    auto userInfo = numberDictionary(*error.userInfo, depth + 1);
    if (!userInfo) return userInfo;
    references_[first + 1] = userInfo.value();
  }
  endObject(uid, {ArchiveNames::errorClass, false});
  return uid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberClass(ClassEntry objectClass) {
  const auto known = std::find_if(classes_.begin(), classes_.end(), [&](Uid uid) {
    return std::get<ClassEntry>(entries_[uid].content).name == objectClass.name;
  });
  if (known != classes_.end()) return *known;
  classes_.push_back(add({objectClass}));
  return classes_.back();
}

}  // namespace corvane
