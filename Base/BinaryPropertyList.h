#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
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
/// proportional to the bytes; from then on objects are read where they lie, by their index, and
/// nothing of it can fail. Neither a tree nor a copy is made, so an object that is shared a million
/// times costs its bytes once. It is the caller who must count what it unfolds. A small value that
/// may be copied; the bytes belong to somebody else and must outlive it and every `Object`. Safe
/// from any thread, as the bytes are only read.
class BinaryPropertyList {
 public:
  /// The number of an object in the list.
  using Index = std::uint64_t;

  /// How many objects may stand inside one another.
  static constexpr unsigned maximumDepth = 64;

  enum class Kind : std::uint8_t {
    none,
    boolean,
    integer,
    real,
    date,
    data,
    text,
    uid,
    array,
    dictionary
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
    Kind kind = Kind::none;
    std::uint8_t unit = 0;  ///< bytes of each of what is counted
    /// Bytes of data, code units of a text, elements of an array, pairs of a dictionary; 1 of
    /// others.
    std::uint32_t count = 0;
    const std::byte* start = nullptr;  ///< of the content, behind marker and count

    explicit operator bool() const { return kind != Kind::none; }

    /// The content; the bytes of `data`.
    [[nodiscard]] ByteView payload() const { return {start, std::size_t{count} * unit}; }

    [[nodiscard]] bool boolean() const;
    [[nodiscard]] Integer integer() const;
    [[nodiscard]] double real()
        const;  ///< of a real; of a date: seconds since 2001-01-01 00:00 UTC
    [[nodiscard]] std::uint32_t uid() const;
    /// As Base/Unicode.h says: unpaired surrogates are kept.
    [[nodiscard]] std::string text() const;
    void copyText(std::string& into) const;  ///< likewise; replaces what is in `into`
    [[nodiscard]] bool textEquals(std::string_view other) const;  ///< `text() == other`
  };

  /// Checks `bytes`. Fails with `malformed` and a reason when trailer, an offset, or an object that
  /// can be reached from the top breaks the format, when objects contain themselves or nest deeper
  /// than `maximumDepth`, or when there are 4 GiB of bytes or more. Objects that nothing refers to
  /// are not looked at.
  static Result<BinaryPropertyList> open(ByteView bytes);

  /// The outermost object.
  [[nodiscard]] Object top() const { return object(topIndex_); }

  /// The object `index`, which must come from this list's `element`, `key` or `value`.
  [[nodiscard]] Object object(Index index) const;

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

  /// Whether the object `index` is the text `other`.
  [[nodiscard]] bool isText(Index index, std::string_view other) const;

  /// The UID that the object `index` is, or nothing.
  [[nodiscard]] std::optional<std::uint32_t> uid(Index index) const;

  /// The value of the text `key` in `dictionary`, or none. Of equal keys the first one counts.
  [[nodiscard]] Object find(const Object& dictionary, std::string_view key) const;

 private:
  /// What is wrong, or null.
  using Fault = const char*;
  class Check;

  BinaryPropertyList() = default;
  Fault readTrailer();
  [[nodiscard]] const std::byte* startOf(Index index) const {
    const std::size_t entry = static_cast<std::size_t>(index) * offsetWidth_;
    return bytes_.data() + bigEndian(bytes_.data() + table_ + entry, offsetWidth_);
  }
  [[nodiscard]] Object objectAt(const std::byte* at) const;
  [[nodiscard]] Object longObjectAt(const std::byte* at) const;
  [[nodiscard]] Fault faultAt(const std::byte* at) const;

  ByteView bytes_;
  Index objectCount_ = 0;
  Index topIndex_ = 0;
  std::size_t table_ = 0;           // where the offset table begins, and the objects end
  std::size_t offsetWidth_ = 1;     // bytes of an offset
  std::size_t referenceWidth_ = 1;  // bytes of a reference
  std::array<std::uint8_t, 5> unitSizes_{0, 1, 2};  // bytes of what objects count, by its kind
};

}  // namespace corvane
