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

/// Numbers the objects of an archive before the first byte is written: the array of objects begins
/// with their count, and objects refer to later ones by number (UID).
///
/// An object gets its number when NSKeyedArchiver would first meet it: the object, then its parts
/// (of a dictionary all keys, then all values), then its class unless that has a number. Equal
/// strings, equal numbers, the null object and classes share one number each.
///
/// A part of `KeyedArchiver`. Refers to the value that it numbers, which must outlive it. Not
/// thread-safe.
class ArchiveNumbering {
 public:
  using Uid = ArchiveTexts::Uid;

  struct Nothing {};  ///< the entry 0, "$null"
  /// A string.
  struct Text {
    ArchiveTexts::Id id;
  };
  struct BoxedText {};  ///< the string "$null", wrapped in an object to tell it from `Nothing`
  /// A class.
  struct ClassEntry {
    ArchiveTexts::Id name;
    bool isNamedTwice;  ///< its name is repeated, not shared, in the list of classes
  };

  /// One object, and where its references begin. References are: a dictionary's keys, then its
  /// values; one per field of a record (used if the field is a string); domain and user info of an
  /// error (0: no user info).
  struct Entry {
    std::variant<Nothing, Text, BoxedText, const Value*, Value::Null, const Dictionary*,
                 const Record*, const ErrorObject*, ClassEntry>
        content;  ///< a `Value` is a boolean or a number
    std::uint32_t first = 0;
    Uid classUid = 0;
  };

  /// Numbers `root` and everything in it. Throws `MalformedArchive` if a string is not well formed
  /// (Base/Unicode.h, unpaired surrogates allowed), if objects are nested too deeply, or if a
  /// record has a field of a kind that records can't have.
  explicit ArchiveNumbering(const Value& root);

  /// All objects in the order of their numbers: 0 is `Nothing`, 1 the root.
  [[nodiscard]] std::span<const Entry> entries() const { return entries_; }

  /// Returns `count` references of `entry`, beginning with its reference `position`.
  [[nodiscard]] std::span<const Uid> references(const Entry& entry, std::size_t position,
                                                std::size_t count) const {
    return std::span(references_).subspan(entry.first + position, count);
  }

  /// The strings of the archive, with the numbers of those that are objects.
  [[nodiscard]] ArchiveTexts& texts() { return texts_; }

  /// Roughly the size of the archive in bytes; for reserving memory.
  [[nodiscard]] std::size_t sizeEstimate() const { return sizeEstimate_; }

  /// A lower bound on the bytes that the strings take: three bytes of UTF-8 may become one UTF-16
  /// code unit of two.
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
  std::size_t textBytes_ = 0;  // UTF-8 bytes of all strings, equal ones counted once
};

}  // namespace corvane
