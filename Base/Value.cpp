#include "Base/Value.h"

#include <algorithm>
#include <bit>

#include "Base/ErrorObject.h"
#include "Base/Record.h"

namespace corvane {

Dictionary::Dictionary(std::initializer_list<DictionaryEntry> entries) {
  reserve(entries.size());
  for (const DictionaryEntry& entry : entries) set(entry.key, entry.value);
}

const Value* Dictionary::find(std::string_view key) const {
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [key](const DictionaryEntry& entry) { return entry.key == key; });
  return found == entries_.end() ? nullptr : &found->value;
}

void Dictionary::set(std::string key, Value value) {
  const auto found =
      std::find_if(entries_.begin(), entries_.end(),
                   [&key](const DictionaryEntry& entry) { return entry.key == key; });
  if (found == entries_.end())
    append(std::move(key), std::move(value));
  else
    found->value = std::move(value);
}

void Dictionary::append(std::string key, Value value) {
  entries_.push_back({std::move(key), std::move(value)});
}

void Dictionary::reserve(std::size_t count) {
  entries_.reserve(count);
}

bool Dictionary::operator==(const Dictionary& other) const {
  return size() == other.size() && std::all_of(begin(), end(), [&](const DictionaryEntry& entry) {
           const Value* value = other.find(entry.key);
           return value != nullptr && entry.value == *value;
         });
}

Value::Value(Record record) : content_(std::make_shared<const Record>(std::move(record))) {}

Value::Value(ErrorObject error) : content_(std::make_shared<const ErrorObject>(std::move(error))) {}

const Value* Record::find(std::string_view key) const {
  for (std::size_t i = 0; i < fields.size() && i < recordClass->fields.size(); ++i) {
    if (recordClass->fields[i].key == key) return &fields[i];
  }
  return nullptr;
}

bool Value::operator==(const Value& other) const {
  if (content_.index() != other.content_.index()) return false;
  if (const auto* real = as<double>())
    return std::bit_cast<std::uint64_t>(*real) == std::bit_cast<std::uint64_t>(*other.as<double>());
  if (const auto* record = as<Record>()) return *record == *other.as<Record>();
  if (const auto* error = as<ErrorObject>()) return *error == *other.as<ErrorObject>();
  return content_ == other.content_;
}

}  // namespace corvane
