#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include <boost/container/small_vector.hpp>

#include "Base/ErrorObject.h"
#include "Base/HashIndex.h"
#include "Base/Record.h"
#include "Base/Value.h"
#include "SharedComponents/KeyedArchive/ArchiveTexts.h"

namespace corvane {

/// Gives every object of an archive its number (UID) before the first byte is written, because the
/// list of objects begins with their count and objects name those that come after them.
///
/// Objects are numbered when they are first met, as NSKeyedArchiver meets them: the object, then
/// what is in it (a dictionary: all keys, then all values), then its class unless it has a number.
/// Equal texts, equal numbers, the null object and classes have one number each. A part of
/// `KeyedArchiver`; keeps views of the value that it numbers.
class ArchiveNumbering {
 public:
  using Uid = ArchiveTexts::Uid;

  struct Nothing {};
  struct Text {
    ArchiveTexts::Id id;
  };
  struct BoxedText {};  ///< the text "$null", which would mean nothing if it stood alone
  struct ClassEntry {
    ArchiveTexts::Id name;
    bool isNamedTwice;  ///< the name in the list of classes is a text of its own
  };

  /// One object. `first` is where its references begin: a dictionary's keys, then its values; one
  /// for each field of a record that is a text; domain and user info (0: none) of an error.
  struct Entry {
    std::variant<Nothing, Text, BoxedText, const Value*, Value::Null, const Dictionary*,
                 const Record*, const ErrorObject*, ClassEntry>
        content;  ///< a `Value` is a boolean or a number
    std::uint32_t first = 0;
    Uid classUid = 0;
  };

  /// Numbers `root` and everything in it. Throws `MalformedArchive` when a text is not well formed,
  /// when objects are nested too deeply, or when a record has a field of a kind that records don't
  /// have.
  explicit ArchiveNumbering(const Value& root);

  /// All objects in the order of their numbers; entry 0 is nothing, entry 1 the root.
  [[nodiscard]] std::span<const Entry> entries() const { return entries_; }

  /// `count` references of `entry`, from number `position` on.
  [[nodiscard]] std::span<const Uid> references(const Entry& entry, std::size_t position,
                                                std::size_t count) const {
    return std::span(references_).subspan(entry.first + position, count);
  }

  /// All texts that are objects, with their numbers.
  [[nodiscard]] ArchiveTexts& texts() { return texts_; }

  /// About how many bytes the archive will have.
  [[nodiscard]] std::size_t sizeEstimate() const { return sizeEstimate_; }

  /// How many bytes the texts take at least: three bytes of UTF-8 may be a code unit of two.
  [[nodiscard]] std::size_t leastTextBytes() const { return textBytes_ / 3 * 2; }

 private:
  template <class Content>
  Uid add(const Content& content);
  template <class Content>
  Uid beginObject(const Content& content, std::size_t references);
  void endObject(Uid uid, const ClassEntry& objectClass);
  Uid numberValue(const Value& value, unsigned depth);
  Uid numberText(std::string_view text);
  Uid numberScalar(const Value& value);
  Uid numberNull();
  Uid numberDictionary(const Dictionary& dictionary, unsigned depth);
  Uid numberRecord(const Record& record, unsigned depth);
  Uid numberError(const ErrorObject& error, unsigned depth);
  Uid numberClass(const ClassEntry& objectClass);

  boost::container::small_vector<Entry, 40> entries_;
  boost::container::small_vector<Uid, 32> references_;
  ArchiveTexts texts_;
  HashIndex scalars_;  // the entries that are booleans or numbers
  std::optional<Uid> null_;
  std::size_t sizeEstimate_ = 0;
  std::size_t textBytes_ = 0;  // of all texts, each counted once
};

}  // namespace corvane
