#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Base/HashIndex.h"
#include "Base/Result.h"

namespace corvane {

/// Writes a binary property list, the format that begins with "bplist00" (see
/// Base/BinaryPropertyList.h), object by object into one buffer. The first object is the top.
///
/// A text, integer or real that was written before is not written again, as CoreFoundation does.
/// Like CoreFoundation's, the table holds a copy of a boolean or UID for each use, and all
/// references name the first. Values of different kinds are never merged. One list per writer.
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
  Index addUid(std::uint32_t uid);

  /// `text` must be well formed, unpaired surrogates allowed (Base/Unicode.h).
  Index addText(std::string_view text);

  /// Writes `text` even if there is an equal one; later texts share the older one.
  Index addTextOfItsOwn(std::string_view text);

  /// Begins an array of `count` elements or a dictionary of `count` pairs. What they hold is added
  /// afterwards, and each reference set once.
  Container addArray(std::size_t count);
  Container addDictionary(std::size_t count);
  void setElement(const Container& array, std::size_t position, Index element);
  void setKey(const Container& dictionary, std::size_t position, Index key);
  void setValue(const Container& dictionary, std::size_t position, Index value);

  [[nodiscard]] Index objectCount() const { return offsets_.size(); }

  /// True when the width of references is the right one for so many objects as there are.
  [[nodiscard]] bool referenceWidthSuffices() const {
    return referenceWidthFor(objectCount()) <= referenceWidth_;
  }

  /// Writes table and trailer, and gives the list away. Only if `referenceWidthSuffices`, and once.
  std::string finish();

 private:
  enum class Repeats { dropped, kept };

  void begin() { offsets_.push_back(buffer_.size()); }
  void appendMarker(unsigned kind, std::uint64_t count);
  void appendInteger(std::uint64_t integer);
  void appendText(std::string_view text);
  Index shared(Repeats repeats);
  [[nodiscard]] std::string_view bytesOfObject(Index index) const;
  void setReference(std::size_t at, Index index);

  const std::size_t referenceWidth_;
  std::string buffer_;
  std::vector<std::size_t> offsets_;  // of each object
  HashIndex known_;                   // the objects that later ones may share, by their bytes
};

}  // namespace corvane
