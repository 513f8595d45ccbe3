#pragma once

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

  enum class Kind { boolean, integer, real, date, data, text, uid, array, dictionary };

  /// An integer from -2^63 to 2^64-1, in two's complement.
  struct Integer {
    std::uint64_t bits = 0;
    bool isNegative = false;

    /// The integer, or the nearest one that fits in 64 signed bits.
    [[nodiscard]] std::int64_t nearestSigned() const {
      return !isNegative && bits > INT64_MAX ? INT64_MAX : static_cast<std::int64_t>(bits);
    }
  };

  /// One object, still in the bytes. Which of the operations may be called follows from `kind`.
  struct Object {
    Kind kind = Kind::boolean;
    std::size_t count =
        0;  ///< bytes of data, code units of a text, elements of an array, pairs of a dictionary
    ByteView payload;  ///< the content without marker and count; the bytes of `data`

    [[nodiscard]] bool boolean() const;
    [[nodiscard]] Integer integer() const;
    [[nodiscard]] double real()
        const;  ///< of a real; of a date: seconds since 2001-01-01 00:00 UTC
    [[nodiscard]] std::uint32_t uid() const;
    [[nodiscard]] std::string text()
        const;  ///< as Base/Unicode.h says: unpaired surrogates are kept
    [[nodiscard]] bool textEquals(std::string_view other) const;  ///< `text() == other`
  };

  /// Checks `bytes`. Fails with `malformed` and a reason when trailer, an offset, or an object that
  /// can be reached from the top breaks the format, when objects contain themselves or nest deeper
  /// than `maximumDepth`. Objects that nothing refers to are not looked at.
  static Result<BinaryPropertyList> open(ByteView bytes);

  /// The outermost object.
  [[nodiscard]] Object top() const { return object(topIndex_); }

  /// The object `index`, which must come from this list's `element`, `key` or `value`; any other
  /// may give a boolean.
  [[nodiscard]] Object object(Index index) const;

  /// Element `position` of `array`; key and value of pair `position` of `dictionary`. `position`
  /// must be below `count`. A key is always a text.
  [[nodiscard]] Index element(const Object& array, std::size_t position) const;
  [[nodiscard]] Index key(const Object& dictionary, std::size_t position) const;
  [[nodiscard]] Index value(const Object& dictionary, std::size_t position) const;

  /// The value of the text `key` in `dictionary`, or nothing. Of equal keys the first one counts.
  [[nodiscard]] std::optional<Object> find(const Object& dictionary, std::string_view key) const;

 private:
  friend class BinaryPropertyListCheck;

  BinaryPropertyList() = default;
  Result<Done> readTrailer();
  [[nodiscard]] Result<Done> checkOffsets() const;
  [[nodiscard]] std::uint64_t offsetOf(Index index) const;
  [[nodiscard]] std::size_t unitOf(Kind kind, unsigned marker) const;
  /// What is wrong, or null. Reading is what most of a short list's time goes into, so it makes no
  /// failure before there is one.
  using Fault = const char*;
  [[nodiscard]] Fault read(Index index, Object& object) const;
  [[nodiscard]] Fault readCounted(std::size_t at, unsigned marker, Object& object) const;
  [[nodiscard]] Fault readFixed(std::size_t at, unsigned marker, Object& object) const;

  ByteView bytes_;
  Index objectCount_ = 0;
  Index topIndex_ = 0;
  std::size_t table_ = 0;           // where the offset table begins, and the objects end
  std::size_t offsetWidth_ = 1;     // bytes of an offset
  std::size_t referenceWidth_ = 1;  // bytes of a reference
};

}  // namespace corvane
