#include "Base/BinaryPropertyList.h"

#include <array>

#include "Base/BinaryPropertyListCheck.h"

namespace corvane {
namespace {

constexpr std::string_view magic = "bplist00";
constexpr std::size_t trailerSize = 32;
constexpr std::size_t widestInteger = 16;

using Kind = BinaryPropertyList::Kind;

Failure malformed(const char* reason) {
  return {FailureCause::malformed, reason};
}

/// The kinds of which an object says how many units it holds, by the upper half of the marker.
// A table, as a processor can't guess which way a switch over mixed objects goes.
constexpr std::array<std::optional<Kind>, 16> countedKinds = [] {
  std::array<std::optional<Kind>, 16> kinds;
  kinds[0x4] = Kind::data;
  kinds[0x5] = Kind::text;
  kinds[0x6] = Kind::text;
  kinds[0xA] = Kind::array;
  kinds[0xD] = Kind::dictionary;
  return kinds;
}();

bool bigEndianIsAbove32Bits(ByteView bytes) {
  for (std::size_t i = 0; i + sizeof(std::uint32_t) < bytes.size(); ++i) {
    if (bytes[i] != std::byte{0}) return true;
  }
  return false;
}

std::optional<Kind> countedKind(unsigned marker) {
  return countedKinds[marker >> 4 & 0xF];
}

constexpr char unknownMarker[] = "an object has an unknown marker";

}  // namespace

Result<BinaryPropertyList> BinaryPropertyList::open(ByteView bytes) {
  BinaryPropertyList list;
  list.bytes_ = bytes;
  if (const auto read = list.readTrailer(); !read) return read.failure();
  if (const auto checked = list.checkOffsets(); !checked) return checked.failure();
  if (const auto checked = BinaryPropertyListCheck(list).checkAll(); !checked)
    return checked.failure();
  return list;
}

Result<Done> BinaryPropertyList::readTrailer() {
  if (!textOf(bytes_).starts_with(magic)) return malformed("not a binary property list");
  if (bytes_.size() < magic.size() + trailerSize) return malformed("the trailer is missing");
  const std::size_t tableEnd = bytes_.size() - trailerSize;
  const ByteView trailer = bytes_.subspan(tableEnd);
  offsetWidth_ = std::to_integer<std::size_t>(trailer[6]);
  referenceWidth_ = std::to_integer<std::size_t>(trailer[7]);
  objectCount_ = bigEndian(trailer.subspan(8), 8);
  topIndex_ = bigEndian(trailer.subspan(16), 8);
  const std::uint64_t table = bigEndian(trailer.subspan(24), 8);
  if (offsetWidth_ < 1 || offsetWidth_ > 8) return malformed("offsets have no such width");
  if (referenceWidth_ < 1 || referenceWidth_ > 8) return malformed("references have no such width");
  if (table <= magic.size() || table > tableEnd)
    return malformed("the offset table is out of place");
  table_ = static_cast<std::size_t>(table);
  const std::size_t tableSize = tableEnd - table_;
  if (objectCount_ == 0 || tableSize % offsetWidth_ != 0 ||
      tableSize / offsetWidth_ != objectCount_) {
    return malformed("the offset table has another size than the object count says");
  }
  if (topIndex_ >= objectCount_) return malformed("the top object is out of range");
  return Done{};
}

Result<Done> BinaryPropertyList::checkOffsets() const {
  for (Index index = 0; index < objectCount_; ++index) {
    const std::uint64_t offset = offsetOf(index);
    if (offset < magic.size() || offset >= table_) return malformed("an offset is out of range");
  }
  return Done{};
}

std::uint64_t BinaryPropertyList::offsetOf(Index index) const {
  return bigEndian(bytes_.subspan(table_ + static_cast<std::size_t>(index) * offsetWidth_),
                   offsetWidth_);
}

BinaryPropertyList::Fault BinaryPropertyList::read(Index index, Object& object) const {
  if (index >= objectCount_) return "a reference is out of range";
  const auto at = static_cast<std::size_t>(offsetOf(index));
  const auto marker = std::to_integer<unsigned>(bytes_[at]);
  return countedKind(marker) ? readCounted(at, marker, object) : readFixed(at, marker, object);
}

/// The kinds whose size follows from the marker alone.
BinaryPropertyList::Fault BinaryPropertyList::readFixed(std::size_t at, unsigned marker,
                                                        Object& object) const {
  const unsigned low = marker & 0xF;
  Kind kind = Kind::boolean;
  std::size_t size = std::size_t{1} << low;
  switch (marker >> 4) {
    case 0x0:
      if (low != 8 && low != 9) return unknownMarker;
      object = {Kind::boolean, 1, bytes_.subspan(at, 1)};
      return nullptr;
    case 0x1:
      if (size > widestInteger) return "an integer is too wide";
      kind = Kind::integer;
      break;
    case 0x2:
      if (low != 2 && low != 3) return "a real has no such width";
      kind = Kind::real;
      break;
    case 0x3:
      if (low != 3) return unknownMarker;
      kind = Kind::date;
      break;
    case 0x8:
      kind = Kind::uid;
      size = std::size_t{low} + 1;
      break;
    default:
      return unknownMarker;
  }
  if (size > table_ - at - 1) return "a value is cut off";
  object = {kind, 1, bytes_.subspan(at + 1, size)};
  if (kind == Kind::uid && bigEndianIsAbove32Bits(object.payload)) return "a UID is above 32 bits";
  return nullptr;
}

std::size_t BinaryPropertyList::unitOf(Kind kind, unsigned marker) const {
  switch (kind) {
    case Kind::array:
      return referenceWidth_;
    case Kind::dictionary:
      return 2 * referenceWidth_;
    default:
      return marker >> 4 == 0x6 ? 2 : 1;
  }
}

BinaryPropertyList::Fault BinaryPropertyList::readCounted(std::size_t at, unsigned marker,
                                                          Object& object) const {
  std::uint64_t count = marker & 0xF;
  std::size_t start = at + 1;
  if (count == 0xF) {  // an integer object with the count follows
    const unsigned countMarker = start < table_ ? std::to_integer<unsigned>(bytes_[start]) : 0;
    if (countMarker < 0x10 || countMarker > 0x13) return "a count is not an integer";
    const std::size_t width = std::size_t{1} << (countMarker & 0xF);
    ++start;
    if (width > table_ - start) return "a count is cut off";
    count = bigEndian(bytes_.subspan(start), width);
    start += width;
  }
  const Kind kind = *countedKind(marker);
  const std::size_t unit = unitOf(kind, marker);
  // NOLINTNEXTLINE(clang-analyzer-core.DivideZero): no unit is 0, as readTrailer saw to it
  if (count > (table_ - start) / unit) return "an object is longer than what is left";
  const auto units = static_cast<std::size_t>(count);
  object = {kind, units, bytes_.subspan(start, units * unit)};
  return nullptr;
}

BinaryPropertyList::Object BinaryPropertyList::object(Index index) const {
  Object object;
  static_cast<void>(read(index, object));  // checked when the list was opened
  return object;
}

BinaryPropertyList::Index BinaryPropertyList::element(const Object& array,
                                                      std::size_t position) const {
  return bigEndian(array.payload.subspan(position * referenceWidth_), referenceWidth_);
}

BinaryPropertyList::Index BinaryPropertyList::key(const Object& dictionary,
                                                  std::size_t position) const {
  return element(dictionary, position);
}

BinaryPropertyList::Index BinaryPropertyList::value(const Object& dictionary,
                                                    std::size_t position) const {
  return element(dictionary, dictionary.count + position);
}

std::optional<BinaryPropertyList::Object> BinaryPropertyList::find(const Object& dictionary,
                                                                   std::string_view key) const {
  for (std::size_t i = 0; i < dictionary.count; ++i) {
    if (object(this->key(dictionary, i)).textEquals(key)) return object(value(dictionary, i));
  }
  return std::nullopt;
}

}  // namespace corvane
