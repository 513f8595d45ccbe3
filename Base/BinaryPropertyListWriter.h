#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include <boost/container/small_vector.hpp>

#include "Base/HashIndex.h"
#include "Base/Result.h"

namespace corvane {

/// Writes a binary property list, the format that begins with "bplist00" (see
/// Base/BinaryPropertyList.h), object by object into one buffer. The first object is the top.
///
/// An integer or real that was written before is not written again, as CoreFoundation does; it is
/// up to the caller to write equal texts once. Like CoreFoundation's, the table holds a copy of a
/// boolean or UID for each use, and all references name the first. Values of different kinds are
/// never merged. One list per writer.
class BinaryPropertyListWriter {
 public:
  /// The number of an object.
  using Index = std::uint64_t;

  /// An array or dictionary of which the references are still to be filled in.
  struct Container {
    Index index = 0;
    std::size_t count = 0;  ///< elements, or pairs
    std::size_t at = 0;     ///< where in the buffer the references begin
  };

  /// The bytes that a reference needs in a list of `objectCount` objects: 1, 2, 4 or 8.
  static std::size_t referenceWidthFor(std::uint64_t objectCount);

  /// References take `referenceWidth` bytes; whether that was enough, `finish` says in the end.
  /// `sizeHint` is about how many bytes there will be.
  explicit BinaryPropertyListWriter(std::size_t referenceWidth, std::size_t sizeHint = 0);

  Index addBoolean(bool boolean);
  Index addInteger(std::int64_t integer);
  Index addUnsigned(std::uint64_t integer);
  Index addReal(double real);
  /// The writer takes memory for all UIDs up to the greatest, so they should be consecutive.
  Index addUid(std::uint32_t uid);

  /// Adds `uids` and an array that refers to them; returns the array.
  Index addUids(std::span<const std::uint32_t> uids);

  /// `text` must be well formed, unpaired surrogates allowed (Base/Unicode.h).
  Index addText(std::string_view text);

  /// Begins an array of `count` elements or a dictionary of `count` pairs. What they hold is added
  /// afterwards, and each reference set once.
  Container addArray(std::size_t count);
  Container addDictionary(std::size_t count);
  void setElement(const Container& array, std::size_t position, Index element) {
    char* const to = &buffer_[array.at + position * referenceWidth_];
    if (referenceWidth_ == 1)
      *to = static_cast<char>(element);
    else
      setWide(to, element);
  }
  void setKey(const Container& dictionary, std::size_t position, Index key) {
    setElement(dictionary, position, key);
  }
  void setValue(const Container& dictionary, std::size_t position, Index value) {
    setElement(dictionary, dictionary.count + position, value);
  }

  [[nodiscard]] Index objectCount() const { return count_; }

  /// True when the width of references is the right one for so many objects as there are.
  [[nodiscard]] bool referenceWidthSuffices() const {
    return referenceWidthFor(objectCount()) <= referenceWidth_;
  }

  /// Writes table and trailer, and returns the list. Only if `referenceWidthSuffices`, and once.
  std::string finish();

 private:
  /// Begins an object; the caller writes up to `most` bytes to what is returned, and calls `end`.
  char* begin(std::size_t most) {
    if (static_cast<std::size_t>(limit_ - at_) < most || count_ == offsets_.size()) grow(most);
    offsets_[count_++] = static_cast<std::size_t>(at_ - buffer_.data());
    return at_;
  }
  void end(char* end) { at_ = end; }
  void provide(std::size_t most);
  void grow(std::size_t most);
  void growUids(std::uint32_t uid);
  Index endNumber(char* end);
  void setWide(char* to, Index element) const;
  Container addContainer(unsigned kind, std::size_t count, std::size_t references);
  Index first(Index& known) const;

  static constexpr Index none = static_cast<Index>(-1);

  const std::size_t referenceWidth_;
  std::string buffer_;  // valid up to `at_`; what follows is unused
  char* at_ = nullptr;
  char* limit_ = nullptr;  // the end of the buffer
  boost::container::small_vector<std::size_t, 128>
      offsets_;  // of each object, the first `count_` of them
  std::size_t count_ = 0;
  HashIndex numbers_;                               // which later ones share, by their bytes
  std::array<Index, 2> booleans_{none, none};       // the first false and the first true
  boost::container::small_vector<Index, 64> uids_;  // the first of each, or none
};

}  // namespace corvane
