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
/// Base/BinaryPropertyList.h), object by object into one buffer. The object added first is the top.
/// Containers are added before their elements, and their references filled in afterwards:
///
///   BinaryPropertyListWriter writer(BinaryPropertyListWriter::referenceWidthFor(2));
///   const auto array = writer.addArray(1);
///   writer.setElement(array, 0, writer.addText("abc"));
///   const std::string bytes = writer.finish();
///
/// As CoreFoundation does, an integer or real that was written before is not written again, and a
/// boolean or UID is written for each use but always referred to by its first copy. Values of
/// different kinds are never merged. Equal strings are written as often as they are added. One list
/// per writer. Not thread-safe. May throw std::bad_alloc.
class BinaryPropertyListWriter {
 public:
  /// The number of an object in the order of the table, from 0.
  using Index = std::uint64_t;

  /// An array or dictionary whose references the caller still has to fill in.
  struct Container {
    Index index = 0;
    std::size_t count = 0;  ///< elements, or pairs
    std::size_t at = 0;     ///< offset of the references in the buffer
  };

  /// The width in bytes of a reference in a list of `objectCount` objects: 1, 2, 4 or 8.
  static std::size_t referenceWidthFor(std::uint64_t objectCount);

  /// References take `referenceWidth` bytes, which must be known from the start: if there are more
  /// objects in the end than `referenceWidthSuffices` allows, the list must be written again with a
  /// greater width. `sizeHint` is the expected length of the list in bytes; a wrong one costs time
  /// or memory only.
  explicit BinaryPropertyListWriter(std::size_t referenceWidth, std::size_t sizeHint = 0);

  /// Each adds a value and returns the index to refer to it by, which may be that of an equal value
  /// added before. Integers take the shortest form, reals always eight bytes.
  Index addBoolean(bool boolean);
  Index addInteger(std::int64_t integer);
  Index addUnsigned(std::uint64_t integer);
  Index addReal(double real);
  /// Allocates a table up to the greatest UID, so UIDs should be consecutive numbers.
  Index addUid(std::uint32_t uid);

  /// Adds an array that holds `uids`, and the UIDs; returns the index of the array.
  Index addUids(std::span<const std::uint32_t> uids);

  /// Adds a string, as ASCII if possible and otherwise as UTF-16. `text` must be well formed,
  /// unpaired surrogates allowed (Base/Unicode.h); that is not checked.
  Index addText(std::string_view text);

  /// Adds an array of `count` elements or a dictionary of `count` pairs. The caller adds their
  /// content afterwards and must set every reference, with `setElement` or with `setKey` and
  /// `setValue`. `position` must be below `count`; that is not checked.
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

  /// The number of objects in the table so far.
  [[nodiscard]] Index objectCount() const { return count_; }

  /// False if there are already too many objects for the width of references: `finish` must not be
  /// called then.
  [[nodiscard]] bool referenceWidthSuffices() const {
    return referenceWidthFor(objectCount()) <= referenceWidth_;
  }

  /// Appends the offset table and the trailer and returns the list. Only if
  /// `referenceWidthSuffices`, and once; the writer is of no use afterwards.
  std::string finish();

 private:
  // Begins an object: returns where the caller writes at most `most` bytes before it calls `end`
  // with the end of what it wrote.
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
  std::string buffer_;     // the list up to `at_`, then unused room
  char* at_ = nullptr;     // where the next object begins
  char* limit_ = nullptr;  // the end of the buffer
  // The offset of each object; only the first `count_` are in use.
  boost::container::small_vector<std::size_t, 128> offsets_;
  std::size_t count_ = 0;
  HashIndex numbers_;                               // integers and reals, by their bytes
  std::array<Index, 2> booleans_{none, none};       // the first `false`, the first `true`
  boost::container::small_vector<Index, 64> uids_;  // by UID: its first copy, or none
};

}  // namespace corvane
