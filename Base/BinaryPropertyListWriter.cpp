#include "Base/BinaryPropertyListWriter.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <functional>

#include "Base/Unicode.h"

namespace corvane {
namespace {

/// The bytes of `value`, the highest first.
std::array<char, 8> bigEndianBytes(std::uint64_t value) {
  std::array<char, 8> bytes{};
  for (std::size_t i = bytes.size(); i-- > 0; value >>= 8)
    bytes[i] = static_cast<char>(value & 0xFF);
  return bytes;
}

/// Appends the `width` (at most 8) lowest bytes of `value`.
void appendBigEndian(std::string& bytes, std::uint64_t value, std::size_t width) {
  const auto all = bigEndianBytes(value);
  bytes.append(all.end() - width, all.end());
}

/// 1, 2, 4 or 8: the least of them of which `value` is below the limit.
std::size_t widthOf(std::uint64_t value) {
  if (value <= UINT8_MAX) return 1;
  if (value <= UINT16_MAX) return 2;
  return value <= UINT32_MAX ? 4 : 8;
}

/// The code point of the well-formed character at `at`, which moves behind it.
char32_t nextCodePoint(std::string_view text, std::size_t& at) {
  const auto take = [&] { return static_cast<unsigned char>(text[at++]); };
  const unsigned first = take();
  if (first < 0x80) return first;
  const int following = first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
  char32_t codePoint = first & (0x3FU >> following);
  for (int i = 0; i < following; ++i) codePoint = codePoint << 6 | (take() & 0x3FU);
  return codePoint;
}

}  // namespace

std::size_t BinaryPropertyListWriter::referenceWidthFor(std::uint64_t objectCount) {
  return widthOf(objectCount);
}

BinaryPropertyListWriter::BinaryPropertyListWriter(std::size_t referenceWidth, std::size_t sizeHint)
    : referenceWidth_(referenceWidth) {
  buffer_.reserve(sizeHint);
  buffer_ = "bplist00";
  offsets_.reserve(64);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addBoolean(bool boolean) {
  begin();
  buffer_ += boolean ? '\x09' : '\x08';
  return shared(Repeats::kept);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addInteger(std::int64_t integer) {
  begin();
  if (integer < 0) {  // shorter ones are unsigned
    buffer_ += '\x13';
    appendBigEndian(buffer_, static_cast<std::uint64_t>(integer), 8);
  } else {
    appendInteger(static_cast<std::uint64_t>(integer));
  }
  return shared(Repeats::dropped);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addUnsigned(std::uint64_t integer) {
  begin();
  if (integer > INT64_MAX) {  // eight bytes would be a negative number
    buffer_ += '\x14';
    appendBigEndian(buffer_, 0, 8);
    appendBigEndian(buffer_, integer, 8);
  } else {
    appendInteger(integer);
  }
  return shared(Repeats::dropped);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addReal(double real) {
  begin();
  buffer_ += '\x23';
  appendBigEndian(buffer_, std::bit_cast<std::uint64_t>(real), 8);
  return shared(Repeats::dropped);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addUid(std::uint32_t uid) {
  begin();
  const std::size_t width = widthOf(uid);
  buffer_ += static_cast<char>(0x80 | (width - 1));
  appendBigEndian(buffer_, uid, width);
  return shared(Repeats::kept);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addText(std::string_view text) {
  begin();
  appendText(text);
  return shared(Repeats::dropped);
}

BinaryPropertyListWriter::Index BinaryPropertyListWriter::addTextOfItsOwn(std::string_view text) {
  begin();
  appendText(text);
  return objectCount() - 1;
}

BinaryPropertyListWriter::Container BinaryPropertyListWriter::addArray(std::size_t count) {
  begin();
  appendMarker(0xA0, count);
  const std::size_t at = buffer_.size();
  buffer_.resize(at + count * referenceWidth_);
  return {objectCount() - 1, count, at};
}

BinaryPropertyListWriter::Container BinaryPropertyListWriter::addDictionary(std::size_t count) {
  begin();
  appendMarker(0xD0, count);
  const std::size_t at = buffer_.size();
  buffer_.resize(at + 2 * count * referenceWidth_);
  return {objectCount() - 1, count, at};
}

void BinaryPropertyListWriter::setElement(const Container& array, std::size_t position,
                                          Index element) {
  setReference(array.at + position * referenceWidth_, element);
}

void BinaryPropertyListWriter::setKey(const Container& dictionary, std::size_t position,
                                      Index key) {
  setReference(dictionary.at + position * referenceWidth_, key);
}

void BinaryPropertyListWriter::setValue(const Container& dictionary, std::size_t position,
                                        Index value) {
  setReference(dictionary.at + (dictionary.count + position) * referenceWidth_, value);
}

std::string BinaryPropertyListWriter::finish() {
  const std::size_t table = buffer_.size();
  const std::size_t offsetWidth = widthOf(table);
  buffer_.reserve(table + offsets_.size() * offsetWidth + 32);
  for (const std::size_t offset : offsets_) appendBigEndian(buffer_, offset, offsetWidth);
  buffer_.append(6, '\0');  // five unused bytes, and the sort byte
  buffer_ += static_cast<char>(offsetWidth);
  buffer_ += static_cast<char>(referenceWidth_);
  appendBigEndian(buffer_, objectCount(), 8);
  appendBigEndian(buffer_, 0, 8);
  appendBigEndian(buffer_, table, 8);
  return std::move(buffer_);
}

void BinaryPropertyListWriter::appendMarker(unsigned kind, std::uint64_t count) {
  constexpr unsigned countFollows = 15;
  buffer_ += static_cast<char>(kind | std::min<std::uint64_t>(count, countFollows));
  if (count >= countFollows) appendInteger(count);
}

/// A whole integer object, the shortest that holds `integer`, which is below 2^63.
void BinaryPropertyListWriter::appendInteger(std::uint64_t integer) {
  const std::size_t width = widthOf(integer);
  buffer_ += static_cast<char>(0x10 | static_cast<unsigned>(std::countr_zero(width)));
  appendBigEndian(buffer_, integer, width);
}

void BinaryPropertyListWriter::appendText(std::string_view text) {
  if (Unicode::isAscii(text)) {
    appendMarker(0x50, text.size());
    buffer_ += text;
    return;
  }
  appendMarker(0x60, Unicode::utf16Length(text));
  for (std::size_t at = 0; at < text.size();) {
    char32_t codePoint = nextCodePoint(text, at);
    if (codePoint >= 0x10000) {
      codePoint -= 0x10000;
      appendBigEndian(buffer_, 0xD800 | codePoint >> 10, 2);
      codePoint = 0xDC00 | (codePoint & 0x3FF);
    }
    appendBigEndian(buffer_, codePoint, 2);
  }
}

/// The first object that has the same bytes as the last one, which may be that one itself.
BinaryPropertyListWriter::Index BinaryPropertyListWriter::shared(Repeats repeats) {
  const Index last = objectCount() - 1;
  const std::string_view bytes = bytesOfObject(last);
  const std::size_t hash = std::hash<std::string_view>()(bytes);
  // Another object may only begin with the same bytes if it is longer, and those differ in marker
  // or count; so comparing the beginnings is enough.
  const std::size_t first = known_.find(hash, [&](std::size_t index) {
    return std::string_view(buffer_).substr(offsets_[index], bytes.size()) == bytes;
  });
  if (first == HashIndex::none) {
    known_.insert(hash, last);
    return last;
  }
  if (repeats == Repeats::dropped) {
    buffer_.resize(offsets_[last]);
    offsets_.pop_back();
  }
  return first;
}

std::string_view BinaryPropertyListWriter::bytesOfObject(Index index) const {
  return std::string_view(buffer_).substr(offsets_[index]);
}

void BinaryPropertyListWriter::setReference(std::size_t at, Index index) {
  const auto all = bigEndianBytes(index);
  std::copy(all.end() - referenceWidth_, all.end(),
            buffer_.begin() + static_cast<std::ptrdiff_t>(at));
}

}  // namespace corvane
