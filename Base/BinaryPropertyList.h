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
/// https://github.com/apple-oss-distributions/CF/blob/main/CFBinaryPList.c.
///
/// `open` checks everything that can be reached from the top object once, in time and memory
/// proportional to the bytes; from then on objects are found by their index, their content is read
/// where it lies, and nothing of it can fail. Neither a tree nor a copy is made, only a table of
/// all objects (16 bytes for each, which has a byte of the list at least), so an object that is
/// shared a million times costs its bytes once. It is the caller who must count what it unfolds.
/// The caller owns the bytes, which must outlive the list and every `Object`. Safe from any thread,
/// as bytes and table are only read.
class BinaryPropertyList {
 public:
  /// The number of an object in the list.
  using Index = std::uint64_t;

  /// How many objects may stand inside one another.
  static constexpr unsigned maximumDepth = 64;

  enum class Kind : std::uint8_t {
    none,
    array,
    dictionary,
    boolean,  // this and all below contain no other objects
    integer,
    real,
    date,
    data,
    uid,
    text  // the last one
  };

  /// An integer from -2^63 to 2^64-1, in two's complement.
  struct Integer {
    std::uint64_t bits = 0;
    bool isNegative = false;

    /// The integer, or the nearest one that fits in 64 signed bits.
    [[nodiscard]] std::int64_t nearestSigned() const {
      return !isNegative && bits > INT64_MAX ? INT64_MAX : static_cast<std::int64_t>(bits);
    }
  };

  /// One object, still in the bytes; small enough for two registers. Which of the operations may be
  /// called follows from `kind`. Of the kind `none`, there is no object.
  struct Object {
    Kind kind;
    std::uint8_t unit;  ///< bytes of each of what is counted
    /// How many arrays and dictionaries stand inside one another from this one down, and 1 for what
    /// is innermost; of those two kinds only.
    std::uint8_t levels;
    /// Bytes of data, code units of a text, elements of an array, pairs of a dictionary; 1 of
    /// others.
    std::uint32_t count;
    const std::byte* start;  ///< of the content, behind marker and count

    explicit operator bool() const { return kind != Kind::none; }

    /// The content; the bytes of `data`.
    [[nodiscard]] ByteView payload() const { return {start, std::size_t{count} * unit}; }

    [[nodiscard]] bool boolean() const;
    [[nodiscard]] Integer integer() const;
    [[nodiscard]] double real()
        const;  ///< of a real; of a date: seconds since 2001-01-01 00:00 UTC
    [[nodiscard]] std::uint32_t uid() const {
      const std::size_t width = unit < 4 ? unit : 4;
      return static_cast<std::uint32_t>(bigEndian(start + unit - width, width));
    }
    /// As Base/Unicode.h says: unpaired surrogates are kept.
    [[nodiscard]] std::string text() const {
      return unit == 1 ? std::string(textOf({start, count})) : wideText();
    }
    [[nodiscard]] std::string wideText() const;                    ///< likewise, of unit 2
    [[nodiscard]] bool textEquals(std::string_view other) const {  ///< `text() == other`
      return unit == 1 ? textOf({start, count}) == other : wideTextEquals(other);
    }
    [[nodiscard]] bool wideTextEquals(std::string_view other) const;  ///< likewise, of unit 2
  };

  /// Checks `bytes`. Fails with `malformed` and a reason if the trailer or an offset is invalid, if
  /// an object reachable from the top breaks the format, contains itself or is nested deeper than
  /// `maximumDepth`, if objects overlap so much that together they exceed four times the bytes, or
  /// if there are 4 GiB or more. Ignores faults in unreachable objects.
  static Result<BinaryPropertyList> open(ByteView bytes);

  /// The outermost object. Like all objects, it lives as long as the list.
  [[nodiscard]] const Object& top() const { return object(topIndex_); }

  /// The object `index`, which must come from this list's `element`, `key` or `value`.
  [[nodiscard]] const Object& object(Index index) const {
    return objects_[static_cast<std::size_t>(index)];
  }

  /// Element `position` of `array`; key and value of pair `position` of `dictionary`. `position`
  /// must be below `count`. A key is always a text.
  [[nodiscard]] Index element(const Object& array, std::size_t position) const {
    return bigEndian(array.start + position * referenceWidth_, referenceWidth_);
  }
  [[nodiscard]] Index key(const Object& dictionary, std::size_t position) const {
    return element(dictionary, position);
  }
  [[nodiscard]] Index value(const Object& dictionary, std::size_t position) const {
    return element(dictionary, dictionary.count + position);
  }

  /// The value of the text `key` in `dictionary`, or none. Of equal keys the first one counts.
  [[nodiscard]] const Object& find(const Object& dictionary, std::string_view key) const;

 private:
  BinaryPropertyList() = default;

  std::unique_ptr<Object[]> objects_;  // all there are; sound are those that the top leads to
  Index topIndex_ = 0;
  std::size_t referenceWidth_ = 1;  // bytes of a reference
};

}  // namespace corvane
