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

/// The types of content that a `Value` owns alone, so that it can give mutable access to it.
/// Records and errors are shared by all copies of a value and never change.
template <class T>
concept Unshared = !std::same_as<T, Record> && !std::same_as<T, ErrorObject>;

/// Values by string keys, in the order of insertion. Keys are distinct, except between `addEntry`
/// and `dropRepeatedKeys`. A vector of pairs: lookup is linear, because the dictionaries that the
/// host and the main application exchange are small. A value type; not thread-safe while it is
/// changed.
class Dictionary {
 public:
  using Entries = std::vector<DictionaryEntry>;

  /// Copies are deep, except for records and errors (see Value).
  Dictionary() noexcept;
  Dictionary(const Dictionary&);
  Dictionary(Dictionary&&) noexcept;
  Dictionary& operator=(const Dictionary&);
  Dictionary& operator=(Dictionary&&) noexcept;
  ~Dictionary();
  /// From a list of pairs. Of equal keys the last value counts, in the place of the first.
  Dictionary(std::initializer_list<DictionaryEntry> entries);

  /// The value of `key`, or nullptr if there is none. Valid until the dictionary is changed.
  [[nodiscard]] const Value* find(std::string_view key) const;

  /// The content of the value of `key` if it is a `T` (see `Value::as`), or nullptr. Valid as long.
  template <class T>
  [[nodiscard]] const T* find(std::string_view key) const;

  /// Mutable overload.
  template <Unshared T>
  [[nodiscard]] T* find(std::string_view key);

  /// Sets the value of `key`: replaces the old one in its place, or appends an entry.
  void set(std::string key, Value value);

  /// Appends an entry without looking for `key`, which must not be in use.
  void append(std::string key, Value value);

  /// Appends an empty entry for the caller to fill, so that nothing needs to be moved. The
  /// reference is valid until the next change. A caller that can't exclude keys in use calls
  /// `dropRepeatedKeys` when it is done.
  DictionaryEntry& addEntry();

  /// Removes every entry whose key an earlier entry has: of equal keys the first one counts. Takes
  /// O(n log n) time, whatever the keys are.
  void dropRepeatedKeys();

  /// Removes the last entry; there must be one.
  void removeLast();

  /// Allocates room for `count` entries in all.
  void reserve(std::size_t count);

  [[nodiscard]] std::size_t size() const;
  /// Iterates over the entries in their order.
  [[nodiscard]] Entries::const_iterator begin() const;
  [[nodiscard]] Entries::const_iterator end() const;

  /// True if both have the same keys with equal values, in whatever order.
  bool operator==(const Dictionary& other) const;

 private:
  [[nodiscard]] bool hasRepeatedKeys() const;

  Entries entries_;
};

/// A value in the body of a request or reply between the host and the main application: null, a
/// boolean, an integer, a real, a string, a dictionary, a record or an error. The kinds are never
/// converted into each other: 1, true and 1.0 are three different values.
///
/// A value type. Copying is deep, except that records and errors, which never change, are shared by
/// all copies; so copies may be used on different threads.
class Value {
 public:
  /// The null object: a value of its own, not the absence of one.
  struct Null {
    bool operator==(const Null&) const = default;
  };

  // Implicit on purpose, so that a dictionary reads as {{"port", 443}, {"url", url}}.
  // NOLINTBEGIN(google-explicit-constructor)
  Value() = default;  ///< null
  template <std::same_as<bool> T>
  Value(T boolean) : content_(boolean) {}
  template <std::signed_integral T>
  Value(T integer) : content_(std::int64_t{integer}) {}
  /// Stored as signed if it fits, so that an integer compares equal whatever its type was.
  template <std::unsigned_integral T>
  requires(!std::same_as<T, bool>) Value(T integer) {
    if (integer <= std::uint64_t{INT64_MAX})
      content_ = static_cast<std::int64_t>(integer);
    else
      content_ = std::uint64_t{integer};
  }
  Value(double real) : content_(real) {}
  /// A string in the form that Base/Unicode.h describes; a `const char*` must not be null.
  Value(std::string text) : content_(std::move(text)) {}
  Value(std::string_view text) : content_(std::string(text)) {}
  Value(const char* text) : content_(std::string(text)) {}
  Value(Dictionary dictionary) : content_(std::move(dictionary)) {}
  Value(Record record);
  Value(ErrorObject error);
  // NOLINTEND(google-explicit-constructor)

  /// The content if it is a `T`, otherwise nullptr. `T` is Null, bool, std::int64_t, std::uint64_t
  /// (only integers above 2^63-1), double, std::string, Dictionary, Record or ErrorObject. The
  /// pointer is valid until this value is changed or destroyed.
  template <class T>
  [[nodiscard]] const T* as() const {
    if constexpr (std::is_same_v<T, Record> || std::is_same_v<T, ErrorObject>) {
      const auto* object = std::get_if<std::shared_ptr<const T>>(&content_);
      return object == nullptr ? nullptr : object->get();
    } else {
      return std::get_if<T>(&content_);
    }
  }

  /// Mutable overload: the content may be changed or moved out.
  template <Unshared T>
  [[nodiscard]] T* as() {
    return std::get_if<T>(&content_);
  }

  /// Replaces the content by an empty string or dictionary and returns it for the caller to fill in
  /// place.
  std::string& makeText() { return content_.emplace<std::string>(); }
  Dictionary& makeDictionary() { return content_.emplace<Dictionary>(); }

  /// Returns true for the null object.
  [[nodiscard]] bool isNull() const { return as<Null>() != nullptr; }

  /// True if kind and content are equal. Reals are compared by their bits: 0.0 and -0.0 differ, and
  /// a NaN equals itself. Shared objects are compared by content.
  bool operator==(const Value& other) const;

 private:
  std::variant<Null, bool, std::int64_t, std::uint64_t, double, std::string, Dictionary,
               std::shared_ptr<const Record>, std::shared_ptr<const ErrorObject>>
      content_;
};

/// One entry of a Dictionary.
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

// Defined here, because the type of an entry is incomplete inside the class.
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
