#include "Base/BinaryPropertyListWriter.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "Base/Unicode.h"

namespace corvane {
namespace {

/// Writes the `width` (at most 8) lowest bytes of `value`, most significant byte first, and returns
/// the end of them.
char* putBigEndian(char* to, std::uint64_t value, std::size_t width) {
  for (std::size_t i = width; i > 0; value >>= 8) to[--i] = static_cast<char>(value & 0xFF);
  return to + width;
}

/// The least of 1, 2, 4 and 8 bytes that hold `value`.
std::size_t widthOf(std::uint64_t value) {
  if (value <= UINT8_MAX) return 1;
  if (value <= UINT16_MAX) return 2;
  return value <= UINT32_MAX ? 4 : 8;
}

/// The code point of the well-formed character at `at`; advances `at` to its end.
char32_t nextCodePoint(std::string_view text, std::size_t& at) {
  const auto take = [&] { return static_cast<unsigned char>(text[at++]); };
  const unsigned first = take();
  if (first < 0x80) return first;
  const int following = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
  char32_t codePoint = first & (0x3FU >> following);
  for (int i = 0; i < following; ++i) codePoint = codePoint << 6 | (take() & 0x3FU);
  return codePoint;
}

/// Copies `text`, which has at least the length of a `Word`, and returns the bitwise OR of its
/// words. The last one may overlap the one before.
template <class Word>
Word copyWords(char* to, std::string_view text) {
  Word seen = 0;
  Word word = 0;
  const auto copy = [&](std::size_t at) {
    std::memcpy(&word, text.data() + at, sizeof word);
    std::memcpy(to + at, &word, sizeof word);
    seen |= word;
  };
  const std::size_t last = text.size() - sizeof word;
  for (std::size_t at = 0; at < last; at += sizeof word) copy(at);
  copy(last);
  return seen;
}

/// Copies `text` and returns true if it is ASCII; if not, the copy is of no use. Most strings are
/// short, and one loop is faster than two library calls.
bool copyAscii(char* to, std::string_view text) {
  if (text.size() >= sizeof(std::uint64_t))
    return (copyWords<std::uint64_t>(to, text) & 0x8080808080808080U) == 0;
  if (text.size() >= sizeof(std::uint32_t))
    return (copyWords<std::uint32_t>(to, text) & 0x80808080U) == 0;
  return text.empty() || (copyWords<std::uint8_t>(to, text) & 0x80U) == 0;
}

constexpr std::size_t longestInteger = 17;  // bytes, with the marker
constexpr std::size_t longestMarker = 1 + longestInteger;

/// Writes the shortest integer object that holds `integer`, which is below 2^63.
char* putInteger(char* to, std::uint64_t integer) {
  const std::size_t width = widthOf(integer);
  *to = static_cast<char>(0x10 | static_cast<unsigned>(std::countr_zero(width)));
  return putBigEndian(to + 1, integer, width);
}

char* putMarker(char* to, unsigned kind, std::uint64_t count) {
  constexpr unsigned countFollows = 15;
  *to = static_cast<char>(kind | std::min<std::uint64_t>(count, countFollows));
  return count < countFollows ? to + 1 : putInteger(to + 1, count);
}

/// Writes `text` as UTF-16, at most twice as many bytes as `text` has.
char* putUtf16(char* to, std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    char32_t codePoint = nextCodePoint(text, at);
    if (codePoint >= 0x10000) {
      codePoint -= 0x10000;
      to = putBigEndian(to, 0xD800 | codePoint >> 10, 2);
      codePoint = 0xDC00 | (codePoint & 0x3FF);
    }
    to = putBigEndian(to, codePoint, 2);
  }
  return to;
}

}  // namespace

std::size_t BinaryPropertyListWriter::referenceWidthFor(std::uint64_t objectCount) {
  return widthOf(objectCount);
}

BinaryPropertyListWriter::BinaryPropertyListWriter(std::size_t referenceWidth, std::size_t sizeHint)
    : referenceWidth_(referenceWidth), buffer_("bplist00") {
  const std::size_t length = buffer_.size();
  buffer_.resize(length + sizeHint);
  at_ = buffer_.data() + length;
  limit_ = buffer_.data() + buffer_.size();
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addBoolean(bool boolean) {
  char* const to = begin(1);
  *to = boolean ? '\x09' : '\x08';
  end(to + 1);
  return first(booleans_[boolean ? 1 : 0]);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addInteger(std::int64_t integer) {
  const auto bits = static_cast<std::uint64_t>(integer);
  char* const to = begin(longestInteger);
  if (integer < 0) {  // shorter ones are unsigned
    *to = '\x13';
    return endNumber(putBigEndian(to + 1, bits, 8));
  }
  return endNumber(putInteger(to, bits));
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addUnsigned(std::uint64_t integer) {
  char* const to = begin(longestInteger);
  if (integer > INT64_MAX) {  // eight bytes would be a negative number
    *to = '\x14';
    return endNumber(putBigEndian(putBigEndian(to + 1, 0, 8), integer, 8));
  }
  return endNumber(putInteger(to, integer));
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addReal(double real) {
  char* const to = begin(longestInteger);
  *to = '\x23';
  return endNumber(putBigEndian(to + 1, std::bit_cast<std::uint64_t>(real), 8));
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addUid(std::uint32_t uid) {
  char* const to = begin(longestInteger);
  if (uid <= UINT8_MAX) {  // most are
    to[0] = '\x80';
    to[1] = static_cast<char>(uid);
    end(to + 2);
  } else {
    const std::size_t width = widthOf(uid);
    *to = static_cast<char>(0x80 | (width - 1));
    end(putBigEndian(to + 1, uid, width));
  }
  if (uid >= uids_.size()) growUids(uid);
  return first(uids_[uid]);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addUids(
    std::span<const std::uint32_t> uids) {
  const Container array = addArray(uids.size());
  for (std::size_t i = 0; i < uids.size(); ++i) setElement(array, i, addUid(uids[i]));
  return array.index;
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addText(std::string_view text) {
  char* const to = putMarker(begin(longestMarker + text.size()), 0x50, text.size());
  if (copyAscii(to, text)) {
    end(to + text.size());
  } else {
    const std::size_t length = Unicode::utf16Length(text);
    provide(longestMarker + 2 * length);
    end(putUtf16(putMarker(at_, 0x60, length), text));
  }
  return objectCount() - 1;
}

BinaryPropertyListWriter::Container BinaryPropertyListWriter::addArray(std::size_t count) {
  return addContainer(0xA0, count, count);
}

BinaryPropertyListWriter::Container BinaryPropertyListWriter::addDictionary(std::size_t count) {
  return addContainer(0xD0, count, 2 * count);
}

BinaryPropertyListWriter::Container BinaryPropertyListWriter::addContainer(unsigned kind,
                                                                           std::size_t count,
                                                                           std::size_t references) {
  const std::size_t length = references * referenceWidth_;
  end(putMarker(begin(longestMarker + length), kind, count));
  const Container container{objectCount() - 1, count,
                            static_cast<std::size_t>(at_ - buffer_.data())};
  at_ += length;
  return container;
}

[[gnu::noinline]] void BinaryPropertyListWriter::setWide(char* to, Index element) const {
  putBigEndian(to, element, referenceWidth_);
}

std::string BinaryPropertyListWriter::finish() {
  constexpr std::size_t trailer = 32;
  const auto table = static_cast<std::size_t>(at_ - buffer_.data());
  const std::size_t offsetWidth = widthOf(table);
  buffer_.resize(table);  // first shortened, so that what is added is zeroed
  buffer_.resize(table + count_ * offsetWidth + trailer);
  char* to = &buffer_[table];
  offsets_.resize(count_);
  if (offsetWidth == 2) {  // nearly always
    for (const std::size_t offset : offsets_) to = putBigEndian(to, offset, 2);
  } else {
    for (const std::size_t offset : offsets_) to = putBigEndian(to, offset, offsetWidth);
  }
  to[6] = static_cast<char>(offsetWidth);  // after five unused bytes and the sort version
  to[7] = static_cast<char>(referenceWidth_);
  putBigEndian(to + 8, objectCount(), 8);
  putBigEndian(to + 24, table, 8);  // after the index of the top object, 0
  return std::move(buffer_);
}

/// Makes room for `most` more bytes.
void BinaryPropertyListWriter::provide(std::size_t most) {
  const auto length = static_cast<std::size_t>(at_ - buffer_.data());
  if (buffer_.size() - length >= most) return;
  buffer_.resize(length + most + length / 2);
  at_ = buffer_.data() + length;
  limit_ = buffer_.data() + buffer_.size();
}

/// Makes room for an object of up to `most` bytes.
[[gnu::noinline]] void BinaryPropertyListWriter::grow(std::size_t most) {
  provide(most);
  if (count_ == offsets_.size()) offsets_.resize(2 * (count_ + 32));
}

/// Extends the table of UIDs beyond `uid`.
[[gnu::noinline]] void BinaryPropertyListWriter::growUids(std::uint32_t uid) {
  uids_.resize(2 * (uid + std::size_t{24}), none);
}

/// Ends the number that has been written up to `end`, or discards it if an equal one exists.
/// Returns the index of the one that is kept.
BinaryPropertyListWriter::Index BinaryPropertyListWriter::endNumber(char* end) {
  const Index last = count_ - 1;
  const std::string_view bytes{at_, static_cast<std::size_t>(end - at_)};
  const auto hash = quickHash(bytes);
  // The marker determines the length of a number, so comparing as many bytes is enough.
  const auto known = numbers_.find(hash, [&](HashIndex::Position index) {
    return std::string_view(buffer_).substr(offsets_[index], bytes.size()) == bytes;
  });
  if (known == HashIndex::none) {
    numbers_.insert(hash, static_cast<HashIndex::Position>(last));
    at_ = end;
    return last;
  }
  count_ = last;
  return known;
}

/// Returns `known`, the first object equal to the last one added; if it is none yet, sets it to the
/// last one.
BinaryPropertyListWriter::Index BinaryPropertyListWriter::first(Index& known) const {
  if (known == none) known = objectCount() - 1;
  return known;
}

}  // namespace corvane
