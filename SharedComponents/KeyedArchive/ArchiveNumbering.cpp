#include "SharedComponents/KeyedArchive/ArchiveNumbering.h"

#include <algorithm>
#include <bit>

#include "Base/Unicode.h"
#include "SharedComponents/KeyedArchive/ArchiveLimits.h"
#include "SharedComponents/KeyedArchive/MalformedArchive.h"

namespace corvane {
namespace {

HashIndex::Hash hashOf(const Value& scalar) {
  std::uint64_t bits = 0;
  if (const auto* boolean = scalar.as<bool>()) bits = *boolean ? 1 : 0;
  if (const auto* integer = scalar.as<std::int64_t>()) bits = static_cast<std::uint64_t>(*integer);
  if (const auto* integer = scalar.as<std::uint64_t>()) bits = *integer;
  if (const auto* real = scalar.as<double>()) bits = std::bit_cast<std::uint64_t>(*real);
  return quickHash({reinterpret_cast<const char*>(&bits), sizeof bits});
}

void requireDepth(unsigned depth) {
  if (depth > ArchiveLimits::maximumDepth) throw MalformedArchive{"objects are nested too deeply"};
}

// Roughly the bytes of an object besides its string (references, UIDs, markers, its entry in the
// offset table), and of the archive's frame.
constexpr std::size_t bytesOfObject = 16;
constexpr std::size_t bytesOfFrame = 320;

}  // namespace

ArchiveNumbering::ArchiveNumbering(const Value& root) {
  sizeEstimate_ = bytesOfFrame;
  add(Nothing{});
  numberValue(root, 1);
}

/// Constructs the content in place: copying a variant that was just written stalls the processor.
template <class Content>
ArchiveNumbering::Uid ArchiveNumbering::add(const Content& content) {
  sizeEstimate_ += bytesOfObject;
  entries_.emplace_back().content.emplace<Content>(content);
  return static_cast<Uid>(entries_.size() - 1);
}

/// Numbers the object and reserves its references.
template <class Content>
ArchiveNumbering::Uid ArchiveNumbering::beginObject(const Content& content,
                                                    std::size_t references) {
  const Uid uid = add(content);
  entries_.back().first = static_cast<std::uint32_t>(references_.size());
  references_.resize(references_.size() + references);
  return uid;
}

void ArchiveNumbering::endObject(Uid uid, const ClassEntry& objectClass) {
  const Uid classUid = numberClass(objectClass);
  entries_[uid].classUid = classUid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberValue(const Value& value, unsigned depth) {
  if (const auto* text = value.as<std::string>()) return numberText(*text);
  if (const auto* dictionary = value.as<Dictionary>()) return numberDictionary(*dictionary, depth);
  if (const auto* record = value.as<Record>()) return numberRecord(*record, depth);
  if (const auto* error = value.as<ErrorObject>()) return numberError(*error, depth);
  return value.isNull() ? numberNull() : numberScalar(value);
}

ArchiveNumbering::Uid ArchiveNumbering::numberText(std::string_view text) {
  const auto id = texts_.idOf(text);
  if (const Uid known = texts_.use(id).uid; known != 0) return known;
  if (!Unicode::isAscii(text) && !Unicode::isWellFormed(text, Unicode::Surrogates::allowed))
    throw MalformedArchive{"a text is not well formed"};
  Uid uid = 0;
  if (id == ArchiveTexts::nothing) {
    uid = beginObject(BoxedText{}, 0);
    endObject(uid, {ArchiveTexts::stringClass, true});
  } else {
    uid = add(Text{id});
    sizeEstimate_ += text.size();
    textBytes_ += text.size();
  }
  texts_.use(id).uid = uid;
  return uid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberScalar(const Value& value) {
  const auto hash = hashOf(value);
  const auto known = scalars_.find(
      hash, [&](Uid uid) { return *std::get<const Value*>(entries_[uid].content) == value; });
  if (known != HashIndex::none) return known;
  const Uid uid = add(&value);
  scalars_.insert(hash, uid);
  return uid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberNull() {
  if (!null_) {
    null_ = beginObject(Value::Null{}, 0);
    endObject(*null_, {ArchiveTexts::nullClass, false});
  }
  return *null_;
}

ArchiveNumbering::Uid ArchiveNumbering::numberDictionary(const Dictionary& dictionary,
                                                         unsigned depth) {
  requireDepth(depth);
  const Uid uid = beginObject(&dictionary, 2 * dictionary.size());
  std::size_t next = entries_[uid].first;
  for (const DictionaryEntry& entry : dictionary) references_[next++] = numberText(entry.key);
  for (const DictionaryEntry& entry : dictionary) {
    const Uid value = numberValue(entry.value, depth + 1);
    references_[next++] = value;
  }
  endObject(uid, {ArchiveTexts::dictionaryClass, false});
  return uid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberRecord(const Record& record, unsigned depth) {
  requireDepth(depth);
  const Uid uid = beginObject(&record, record.fields.size());
  const std::size_t first = entries_[uid].first;
  for (std::size_t i = 0; i < record.fields.size(); ++i) {
    const Value& field = record.fields[i];
    if (field.isNull() || field.as<bool>() != nullptr || field.as<std::int64_t>() != nullptr)
      continue;
    const auto* text = field.as<std::string>();
    if (text == nullptr) throw MalformedArchive{"a record has a field of another kind"};
    references_[first + i] = numberText(*text);
  }
  endObject(uid, {texts_.idOf(record.recordClass->name), true});
  return uid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberError(const ErrorObject& error, unsigned depth) {
  requireDepth(depth);
  const Uid uid = beginObject(&error, 2);
  const std::size_t first = entries_[uid].first;
  references_[first] = numberText(error.domain);
  if (error.userInfo) {
    const Uid userInfo = numberDictionary(*error.userInfo, depth + 1);
    references_[first + 1] = userInfo;
  }
  endObject(uid, {ArchiveTexts::errorClass, false});
  return uid;
}

ArchiveNumbering::Uid ArchiveNumbering::numberClass(const ClassEntry& objectClass) {
  if (const Uid known = texts_.use(objectClass.name).classUid; known != 0) return known;
  const Uid uid = add(objectClass);
  texts_.use(objectClass.name).classUid = uid;
  return uid;
}

}  // namespace corvane
