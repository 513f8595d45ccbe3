#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Base/Bytes.h"
#include "Base/Result.h"

namespace corvane {

/// Reads a binary property list, the format that begins with "bplist00"; its public description is
/// the source of CoreFoundation,
/// https://github.com/apple-oss-distributions/CF/blob/main/CFBinaryPList.c: a header, the objects,
/// a table of their offsets, and a trailer that locates the table. Containers refer to their
/// elements by index in that table.
///
/// `open` checks everything that can be reached from the top object, in time and memory
/// proportional to the bytes. After that no operation can fail: objects are found by their index,
/// and their content is read in place. No tree and no copy is made, only a table of all objects (16
/// bytes for each; an object has at least one byte), so an object that is referred to a million
/// times is stored once. A caller that expands references must therefore limit its own output.
///
/// The caller owns the bytes, which must not change and must outlive the list and every `Object`.
/// Thread-safe, because bytes and table are only read.
class BinaryPropertyList {
 public:
  /// The number of an object in the list.
  using Index = std::uint64_t;

  /// How deeply containers may be nested, the top object and the innermost one included.
  static constexpr unsigned maximumDepth = 64;

  enum class Kind : std::uint8_t {
    none,  // no object, for example because a key was not found
    array,
    dictionary,
    boolean,  // from here on: kinds that contain no other objects
    integer,
    real,
    date,
    data,
    uid,
    text  // a string
  };

  /// An integer from -2^63 to 2^64-1: its 64 bits in two's complement, and how to read them.
  struct Integer {
    std::uint64_t bits = 0;
    bool isNegative = false;  ///< if not, `bits` is unsigned

    /// The integer, or 2^63-1 if it is above that.
    [[nodiscard]] std::int64_t nearestSigned() const {
      return !isNegative && bits > INT64_MAX ? INT64_MAX : static_cast<std::int64_t>(bits);
    }
  };

  /// Where one object lies in the bytes, and how to read it; 16 bytes, cheap to copy. `kind`
  /// decides which accessor may be called; any other is a programming error that is not checked. A
  /// copy is valid as long as the bytes.
  struct Object {
    Kind kind;
    std::uint8_t unit;  ///< size in bytes of one of the items that `count` counts
    /// Of arrays and dictionaries only: how many levels of objects there are from this one down,
    /// with its innermost elements as one level.
    std::uint8_t levels;
    /// Number of bytes of data, of code units of a string, of elements of an array, of pairs of a
    /// dictionary; otherwise 1.
    std::uint32_t count;
    const std::byte* start;  ///< of the content, after the marker and the count

    /// False for the kind `none`.
    explicit operator bool() const { return kind != Kind::none; }

    /// The bytes of the content; the only accessor for `data`.
    [[nodiscard]] ByteView payload() const { return {start, std::size_t{count} * unit}; }

    /// The value of a boolean; of an integer, of which 16 bytes count as their lower 8, unsigned;
    /// of a real, or of a date in seconds since 2001-01-01 00:00 UTC; of a UID.
    [[nodiscard]] bool boolean() const;
    [[nodiscard]] Integer integer() const;
    [[nodiscard]] double real() const;
    [[nodiscard]] std::uint32_t uid() const {
      const std::size_t width = unit < 4 ? unit : 4;
      return static_cast<std::uint32_t>(bigEndian(start + unit - width, width));
    }
    /// A string, converted from ASCII or UTF-16 to the form that Base/Unicode.h describes; unpaired
    /// surrogates are kept.
    [[nodiscard]] std::string text() const {
      return unit == 1 ? std::string(textOf({start, count})) : wideText();
    }
    /// Returns `text() == other` without making the string.
    [[nodiscard]] bool textEquals(std::string_view other) const {
      return unit == 1 ? textOf({start, count}) == other : wideTextEquals(other);
    }
    /// The two for strings in UTF-16, whose `unit` is 2.
    [[nodiscard]] std::string wideText() const;
    [[nodiscard]] bool wideTextEquals(std::string_view other) const;
  };

  /// Checks `bytes` and makes the table of objects. Fails with `malformed` and a reason if the
  /// trailer or an offset is invalid, if an object reachable from the top breaks the format,
  /// contains itself or is nested more deeply than `maximumDepth`, if objects overlap so much that
  /// together they exceed four times the bytes, or if there are 4 GiB or more. Ignores faults in
  /// unreachable objects.
  static Result<BinaryPropertyList> open(ByteView bytes);

  /// The outermost object. A reference to it, as to every object, is valid as long as the list.
  [[nodiscard]] const Object& top() const { return object(topIndex_); }

  /// The object `index`, which must come from `element`, `key` or `value` of this list; it is not
  /// checked again.
  [[nodiscard]] const Object& object(Index index) const {
    return objects_[static_cast<std::size_t>(index)];
  }

  /// The index of element `position` of `array`, and of key and value of pair `position` of
  /// `dictionary`. `position` must be below `count`. A key is always a string.
  [[nodiscard]] Index element(const Object& array, std::size_t position) const {
    return bigEndian(array.start + position * referenceWidth_, referenceWidth_);
  }
  [[nodiscard]] Index key(const Object& dictionary, std::size_t position) const {
    return element(dictionary, position);
  }
  [[nodiscard]] Index value(const Object& dictionary, std::size_t position) const {
    return element(dictionary, dictionary.count + position);
  }

  /// The value of `key` in `dictionary`, or an object of the kind `none`. Of equal keys the first
  /// one counts. Linear in the number of pairs.
  [[nodiscard]] const Object& find(const Object& dictionary, std::string_view key) const;

 private:
  BinaryPropertyList() = default;

  std::unique_ptr<Object[]> objects_;  // by index; checked are those reachable from the top
  Index topIndex_ = 0;                 // of the outermost object
  std::size_t referenceWidth_ = 1;     // bytes of a reference
};

}  // namespace corvane
