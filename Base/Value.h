#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace corvane {

class Value;
struct DictionaryEntry;
struct ErrorObject;
struct Record;

/// What a `Value` owns alone and may change; records and errors are shared by all its copies.
template <class T>
concept Unshared = !std::same_as<T, Record> && !std::same_as<T, ErrorObject>;

/// Values under text keys, in the order in which they were put in. Looking a key up is linear: the
/// dictionaries that travel between the host and the main application are small.
class Dictionary {
 public:
  using Entries = std::vector<DictionaryEntry>;

  Dictionary() noexcept;
  Dictionary(const Dictionary&);
  Dictionary(Dictionary&&) noexcept;
  Dictionary& operator=(const Dictionary&);
  Dictionary& operator=(Dictionary&&) noexcept;
  ~Dictionary();
  /// Of entries with equal keys the last one counts.
  Dictionary(std::initializer_list<DictionaryEntry> entries);

  /// The value of `key`, or nullptr. It lives until the dictionary is changed.
  [[nodiscard]] const Value* find(std::string_view key) const;

  /// The value of `key` if it is there and a `T` (see `Value::as`), or nullptr.
  template <class T>
  [[nodiscard]] const T* find(std::string_view key) const;

  /// Likewise, to change or to move away.
  template <Unshared T>
  [[nodiscard]] T* find(std::string_view key);

  /// Puts `value` under `key`, in the place of the one that is there.
  void set(std::string key, Value value);

  /// Puts `value` behind all others; `key` must not be in use.
  void append(std::string key, Value value);

  /// Adds an entry behind all others, for the caller to fill with a key that is not in use.
  /// It lives until the dictionary is changed.
  DictionaryEntry& addEntry();

  /// Removes every entry whose key an earlier entry has.
  void dropRepeatedKeys();

  /// Removes the last entry.
  void removeLast();

  /// Makes room for `count` entries.
  void reserve(std::size_t count);

  [[nodiscard]] std::size_t size() const;
  [[nodiscard]] Entries::const_iterator begin() const;
  [[nodiscard]] Entries::const_iterator end() const;

  /// The order of the entries does not matter.
  bool operator==(const Dictionary& other) const;

 private:
  [[nodiscard]] bool hasRepeatedKeys() const;

  Entries entries_;
};

/// What the bodies of requests and replies are made of. The kinds never mix: 1, true and 1.0 are
/// three values. Objects of a class of their own are shared by all copies and never change.
class Value {
 public:
  /// The null object, which is a value and not the lack of one.
  struct Null {
    bool operator==(const Null&) const = default;
  };

  // Implicit on purpose, so that a dictionary reads as {{"port", 443}, {"url", url}}.
  // NOLINTBEGIN(google-explicit-constructor)
  Value() = default;
  template <std::same_as<bool> T>
  Value(T boolean) : content_(boolean) {}
  template <std::signed_integral T>
  Value(T integer) : content_(std::int64_t{integer}) {}
  /// An integer that fits in 64 signed bits is one, whatever its type was.
  template <std::unsigned_integral T>
  requires(!std::same_as<T, bool>) Value(T integer) {
    if (integer <= std::uint64_t{INT64_MAX})
      content_ = static_cast<std::int64_t>(integer);
    else
      content_ = std::uint64_t{integer};
  }
  Value(double real) : content_(real) {}
  Value(std::string text) : content_(std::move(text)) {}  ///< as Base/Unicode.h says
  Value(std::string_view text) : content_(std::string(text)) {}
  Value(const char* text) : content_(std::string(text)) {}
  Value(Dictionary dictionary) : content_(std::move(dictionary)) {}
  Value(Record record);
  Value(ErrorObject error);
  // NOLINTEND(google-explicit-constructor)

  /// The content if it is a `T`, otherwise nullptr; it lives as long as this value. `T` is Null,
  /// bool, std::int64_t, std::uint64_t (integers above 2^63-1 only), double, std::string,
  /// Dictionary, Record or ErrorObject.
  template <class T>
  [[nodiscard]] const T* as() const {
    if constexpr (std::is_same_v<T, Record> || std::is_same_v<T, ErrorObject>) {
      const auto* object = std::get_if<std::shared_ptr<const T>>(&content_);
      return object == nullptr ? nullptr : object->get();
    } else {
      return std::get_if<T>(&content_);
    }
  }

  /// Likewise, to change or to move away.
  template <Unshared T>
  [[nodiscard]] T* as() {
    return std::get_if<T>(&content_);
  }

  /// Replaces the content by an empty text or dictionary, for the caller to fill.
  std::string& makeText() { return content_.emplace<std::string>(); }
  Dictionary& makeDictionary() { return content_.emplace<Dictionary>(); }

  /// True for the null object.
  [[nodiscard]] bool isNull() const { return as<Null>() != nullptr; }

  /// Same kind and same content. Reals by their bits: 0.0 and -0.0 differ, a NaN is equal to
  /// itself.
  bool operator==(const Value& other) const;

 private:
  std::variant<Null, bool, std::int64_t, std::uint64_t, double, std::string, Dictionary,
               std::shared_ptr<const Record>, std::shared_ptr<const ErrorObject>>
      content_;
};

struct DictionaryEntry {
  std::string key;
  Value value;
};

template <class T>
const T* Dictionary::find(std::string_view key) const {
  const Value* value = find(key);
  return value == nullptr ? nullptr : value->as<T>();
}

template <Unshared T>
T* Dictionary::find(std::string_view key) {
  return const_cast<T*>(std::as_const(*this).find<T>(key));
}

// Here, where an entry is complete.
inline Dictionary::Dictionary() noexcept = default;
inline Dictionary::Dictionary(const Dictionary&) = default;
inline Dictionary::Dictionary(Dictionary&&) noexcept = default;
inline Dictionary& Dictionary::operator=(const Dictionary&) = default;
inline Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;
inline Dictionary::~Dictionary() = default;

inline DictionaryEntry& Dictionary::addEntry() {
  return entries_.emplace_back();
}
inline void Dictionary::removeLast() {
  entries_.pop_back();
}
inline std::size_t Dictionary::size() const {
  return entries_.size();
}
inline Dictionary::Entries::const_iterator Dictionary::begin() const {
  return entries_.begin();
}
inline Dictionary::Entries::const_iterator Dictionary::end() const {
  return entries_.end();
}

}  // namespace corvane
