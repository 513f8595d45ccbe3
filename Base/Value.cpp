#include "Base/Value.h"

#include <algorithm>
#include <bit>
#include <numeric>

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
  DictionaryEntry& entry = entries_.emplace_back();
  entry.key = std::move(key);
  entry.value = std::move(value);
}

void Dictionary::dropRepeatedKeys() {
  constexpr std::size_t few = 16;
  if (size() <= few && !hasRepeatedKeys()) return;  // nearly always
  // By sorting, not by hashing: an attacker can choose keys that all collide in a hash table.
  const auto key = [this](std::size_t index) -> const std::string& { return entries_[index].key; };
  std::vector<std::size_t> order(size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
    const int difference = key(left).compare(key(right));
    return difference != 0 ? difference < 0 : left < right;
  });
  std::vector<bool> isRepeated(size());
  for (std::size_t i = 1; i < order.size(); ++i)
    isRepeated[order[i]] = key(order[i]) == key(order[i - 1]);
  std::size_t index = 0;
  std::erase_if(entries_, [&](const DictionaryEntry&) { return isRepeated[index++]; });
}

/// Compares each key with all before it; faster than sorting for a few keys.
bool Dictionary::hasRepeatedKeys() const {
  for (auto entry = begin(); entry != end(); ++entry) {
    for (auto earlier = begin(); earlier != entry; ++earlier) {
      if (earlier->key == entry->key) return true;
    }
  }
  return false;
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
