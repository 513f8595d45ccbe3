#include "Base/BinaryPropertyList.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <span>
#include <type_traits>

namespace corvane {
namespace {

constexpr std::string_view magic = "bplist00";
constexpr std::size_t trailerSize = 32;

using Index = BinaryPropertyList::Index;
using Kind = BinaryPropertyList::Kind;
using Object = BinaryPropertyList::Object;

/// The reason why a list is rejected, or null if it is not.
using Fault = const char*;

/// Values of `Object::levels` while objects are being checked.
constexpr std::uint8_t unseen = 0;         // of arrays and dictionaries
constexpr std::uint8_t beingWalked = 255;  // likewise, while their elements are visited
constexpr std::uint8_t overlapping = 1;    // of kind `none`: exceeds the limit for overlaps

/// The form of an object that begins with a certain marker.
struct Form {
  enum class Unit : std::uint8_t { fixed, one, two, reference, pair };

  Kind kind = Kind::none;
  Unit unit = Unit::fixed;  ///< of the items counted; `fixed`: one item of `size` bytes
  std::uint8_t size = 0;
  std::uint8_t start = 1;  ///< offset of the content; 0 if the marker is the content
};

/// By marker. A table, because a processor cannot predict the branches of a switch over mixed
/// objects.
constexpr std::array<Form, 256> forms = [] {
  using Unit = Form::Unit;
  std::array<Form, 256> forms;
  forms[0x08] = forms[0x09] = {Kind::boolean, Unit::fixed, 1, 0};
  for (unsigned power = 0; power <= 4; ++power)
    forms[0x10 | power] = {Kind::integer, Unit::fixed, static_cast<std::uint8_t>(1U << power)};
  forms[0x22] = {Kind::real, Unit::fixed, 4};
  forms[0x23] = {Kind::real, Unit::fixed, 8};
  forms[0x33] = {Kind::date, Unit::fixed, 8};
  for (unsigned low = 0; low < 16; ++low) {
    forms[0x80 | low] = {Kind::uid, Unit::fixed, static_cast<std::uint8_t>(low + 1)};
    forms[0x40 | low] = {Kind::data, Unit::one};
    forms[0x50 | low] = {Kind::text, Unit::one};
    forms[0x60 | low] = {Kind::text, Unit::two};
    forms[0xA0 | low] = {Kind::array, Unit::reference};
    forms[0xD0 | low] = {Kind::dictionary, Unit::pair};
  }
  return forms;
}();

unsigned markerAt(const std::byte* at) {
  return std::to_integer<unsigned>(*at);
}

constexpr unsigned countFollows = 0xF;  // in the lower half of a marker

bool isZero(ByteView bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::byte one) { return one == std::byte{0}; });
}

/// A template for objects whose marker, the first byte, determines everything but the place.
struct alignas(64) ShortForm {  // a power of two, as an index is shifted faster than multiplied
  Object object{};
  std::uint64_t size = UINT64_MAX;  ///< bytes of marker and content; this value: not such an object
  std::array<std::uint64_t, 2> notAscii{};  ///< bits of the content that no ASCII text has
};

/// A mask of the bits that are clear in `count` ASCII characters; `count` is at most 16.
constexpr std::array<std::uint64_t, 2> notAscii(std::size_t count) {
  std::array<std::byte, 16> bits{};
  std::fill_n(bits.begin(), count, std::byte{0x80});
  return std::bit_cast<std::array<std::uint64_t, 2>>(bits);
}

/// `wide`: references have more than one byte.
constexpr ShortForm shortForm(unsigned marker, bool wide) {
  using Unit = Form::Unit;
  const Form form = forms[marker];
  const bool isCounted = form.unit != Unit::fixed;
  const bool refers = form.unit == Unit::reference || form.unit == Unit::pair;
  const std::uint32_t count = isCounted ? marker & countFollows : 1;
  if (form.kind == Kind::none || form.start == 0 || count == countFollows) return {};
  if ((form.kind == Kind::uid && form.size > sizeof(std::uint32_t)) || (refers && wide)) return {};
  const bool isDouble = form.unit == Unit::two || form.unit == Unit::pair;
  const std::uint8_t unit = isDouble ? 2 : isCounted ? 1 : form.size;
  const std::size_t asciiCount = form.kind == Kind::text && unit == 1 ? count : 0;
  return {{form.kind, unit, unseen, count, nullptr},
          1 + std::uint64_t{count} * unit,
          notAscii(asciiCount)};
}

/// By `wide` and by marker.
constexpr auto shortForms = [] {
  std::array<std::array<ShortForm, 256>, 2> all{};
  for (unsigned marker = 0; marker < all[0].size(); ++marker) {
    all[0][marker] = shortForm(marker, false);
    all[1][marker] = shortForm(marker, true);
  }
  return all;
}();

/// Whether `count` bytes are ASCII. Eight more must be readable after them; they always are,
/// because the trailer follows.
bool isAscii(const std::byte* bytes, std::size_t count) {
  std::uint64_t seen = 0;
  std::uint64_t word = 0;
  for (; count >= sizeof word; count -= sizeof word, bytes += sizeof word) {
    std::memcpy(&word, bytes, sizeof word);
    seen |= word;
  }
  std::memcpy(&word, bytes, sizeof word);
  const std::size_t excess =
      8 * (sizeof word - count) - 1;  // bits, but for one: 64 can't be shifted
  seen |= std::endian::native == std::endian::little ? word << excess << 1 : word >> excess >> 1;
  return (seen & 0x8080808080808080U) == 0;
}

/// The contents of the trailer, and access to single objects without regard to references.
class Layout {
 public:
  /// Checks the trailer of `bytes`.
  Fault read(ByteView bytes);

  /// The object at `at`, which is below the offset table, or none if it is invalid.
  [[nodiscard]] Object objectAt(const std::byte* at) const;

  /// The reason why `objectAt` returns none for `at`.
  [[nodiscard]] Fault faultAt(const std::byte* at) const;

  [[nodiscard]] const std::byte* startOf(Index index) const {
    const std::size_t entry = static_cast<std::size_t>(index) * offsetWidth;
    return bytes.data() + bigEndian(bytes.data() + table + entry, offsetWidth);
  }

  ByteView bytes;
  Index objectCount = 0;
  Index topIndex = 0;
  std::size_t table = 0;           // where the offset table begins, and the objects end
  std::size_t offsetWidth = 1;     // bytes of an offset
  std::size_t referenceWidth = 1;  // bytes of a reference

 private:
  [[nodiscard]] Object longObjectAt(const std::byte* at) const;

  std::array<std::uint8_t, 5> unitSizes_{0, 1, 2};  // bytes of what objects count, by its kind
};

Fault Layout::read(ByteView all) {
  bytes = all;
  if (!textOf(bytes).starts_with(magic)) return "not a binary property list";
  if (bytes.size() < magic.size() + trailerSize) return "the trailer is missing";
  if (bytes.size() > UINT32_MAX) return "there are too many bytes";
  const std::size_t tableEnd = bytes.size() - trailerSize;
  const std::byte* const trailer = bytes.data() + tableEnd;
  offsetWidth = std::to_integer<std::size_t>(trailer[6]);
  referenceWidth = std::to_integer<std::size_t>(trailer[7]);
  objectCount = bigEndian(trailer + 8, 8);
  topIndex = bigEndian(trailer + 16, 8);
  const std::uint64_t tableStart = bigEndian(trailer + 24, 8);
  if (offsetWidth < 1 || offsetWidth > 8) return "offsets have no such width";
  if (referenceWidth < 1 || referenceWidth > 8) return "references have no such width";
  if (tableStart <= magic.size() || tableStart > tableEnd)
    return "the offset table is out of place";
  table = static_cast<std::size_t>(tableStart);
  const std::size_t tableSize = tableEnd - table;
  if (objectCount == 0 || tableSize % offsetWidth != 0 || tableSize / offsetWidth != objectCount) {
    return "the offset table has another size than the object count says";
  }
  if (topIndex >= objectCount) return "the top object is out of range";
  using Unit = Form::Unit;
  unitSizes_[static_cast<std::size_t>(Unit::reference)] = static_cast<std::uint8_t>(referenceWidth);
  unitSizes_[static_cast<std::size_t>(Unit::pair)] = static_cast<std::uint8_t>(2 * referenceWidth);
  return nullptr;
}

Object Layout::objectAt(const std::byte* at) const {
  const auto left = static_cast<std::size_t>(bytes.data() + table - at);
  const unsigned marker = markerAt(at);
  const Form form = forms[marker];
  std::uint32_t count = 1;
  std::uint8_t unit = form.size;
  std::size_t start = form.start;
  if (form.unit != Form::Unit::fixed) {
    count = marker & countFollows;
    if (count == countFollows) {
      if (markerAt(at + 1) != 0x10) return longObjectAt(at);
      count = markerAt(at + 2);  // most counts take one byte
      start = 3;
    }
    unit = unitSizes_[static_cast<std::size_t>(form.unit)];
  } else if (form.kind == Kind::uid && form.size > sizeof(std::uint32_t)) {
    return longObjectAt(at);
  }
  if (start + std::size_t{count} * unit > left) return {};
  return {form.kind, unit, unseen, count, at + start};
}

/// `objectAt` for long UIDs and for counts of more than one byte.
Object Layout::longObjectAt(const std::byte* at) const {
  const std::byte* const end = bytes.data() + table;
  const Form form = forms[markerAt(at++)];
  if (form.kind == Kind::uid) {
    const std::size_t excess = form.size - sizeof(std::uint32_t);
    if (form.size > end - at || !isZero({at, excess})) return {};
    return {form.kind, form.size, unseen, 1, at};
  }
  const unsigned marker = at < end ? markerAt(at) : 0;  // an integer object with the count follows
  const std::ptrdiff_t width = std::ptrdiff_t{1} << (marker & 0xF);
  if (marker < 0x10 || marker > 0x13 || width >= end - at) return {};
  const std::uint64_t count = bigEndian(at + 1, static_cast<std::size_t>(width));
  at += 1 + width;
  const auto left = static_cast<std::size_t>(end - at);
  const std::uint8_t unit = unitSizes_[static_cast<std::size_t>(form.unit)];
  if (count > left || count * unit > left) return {};
  return {form.kind, unit, unseen, static_cast<std::uint32_t>(count), at};
}

Fault Layout::faultAt(const std::byte* at) const {
  const std::byte* const end = bytes.data() + table;
  const unsigned marker = markerAt(at++);
  const Form form = forms[marker];
  if (form.kind == Kind::none && marker >> 4 == 0x1) return "an integer is too wide";
  if (form.kind == Kind::none && marker >> 4 == 0x2) return "a real has no such width";
  if (form.kind == Kind::none) return "an object has an unknown marker";
  if (form.unit == Form::Unit::fixed)
    return form.size > end - at ? "a value is cut off" : "a UID is above 32 bits";
  if ((marker & countFollows) == countFollows) {
    const unsigned countMarker = at < end ? markerAt(at) : 0;
    if (countMarker < 0x10 || countMarker > 0x13) return "a count is not an integer";
    if (std::ptrdiff_t{1} << (countMarker & 0xF) >= end - at) return "a count is cut off";
  }
  return "an object is longer than what is left";
}

bool isContainer(const Object& object) {
  return object.kind == Kind::array || object.kind == Kind::dictionary;
}

/// Fills the table of objects: reads each one on its own, without following references.
class Scan {
 public:
  Scan(const Layout& layout, std::span<Object> objects)
      : layout_(layout), objects_(objects), bytesLeft_(timesTheFile * layout.bytes.size()) {}

  /// Returns false if an offset is out of range. Any other invalid object becomes one of the kind
  /// `none`, which is a fault only if the walk reaches it.
  bool readAll();

 private:
  // Overlapping objects are not a fault in themselves, but thousands that share the same bytes
  // would take quadratic time. No writer makes them overlap, so in a valid file all objects
  // together have fewer bytes than the file.
  static constexpr std::uint64_t timesTheFile = 4;

  template <class Width>
  bool readAll(Width width);
  [[nodiscard]] Object longObjectAt(const std::byte* at);

  const Layout& layout_;
  const std::span<Object> objects_;
  std::uint64_t bytesLeft_;
};

bool Scan::readAll() {
  switch (layout_.offsetWidth) {  // the two usual widths become constants for the compiler
    case 1:
      return readAll(std::integral_constant<std::size_t, 1>());
    case 2:
      return readAll(std::integral_constant<std::size_t, 2>());
    default:
      return readAll(layout_.offsetWidth);
  }
}

template <class Width>
bool Scan::readAll(Width width) {
  const ByteView bytes = layout_.bytes;
  const std::size_t table = layout_.table;
  const ShortForm* const forms = shortForms[layout_.referenceWidth == 1 ? 0 : 1].data();
  const std::byte* entry = bytes.data() + table;
  std::uint64_t bytesLeft = bytesLeft_;  // in a register
  for (Object& object : objects_) {
    const std::uint64_t offset = bigEndian(entry, width);
    entry += width;
    if (offset - magic.size() >= table - magic.size())
      return false;  // also below the magic, by wrapping around
    const std::byte* const at = bytes.data() + offset;
    const ShortForm& form = forms[markerAt(at)];
    std::array<std::uint64_t, 2> content{};  // readable even at the end: the trailer is longer
    std::memcpy(content.data(), at + 1, sizeof content);
    const bool isAscii = ((content[0] & form.notAscii[0]) | (content[1] & form.notAscii[1])) == 0;
    if (form.size <= table - offset && form.size <= bytesLeft && isAscii) {
      object = form.object;
      object.start = at + 1;
      bytesLeft -= form.size;
    } else {
      bytesLeft_ = bytesLeft;
      object = longObjectAt(at);
      bytesLeft = bytesLeft_;
    }
  }
  return true;
}

/// An object of any form, or none if it is invalid.
Object Scan::longObjectAt(const std::byte* at) {
  if (markerAt(at) == 0x50 + countFollows && markerAt(at + 1) == 0x10) {
    const unsigned count = markerAt(at + 2);  // the other usual strings, such as class names
    if (count + 3 <= static_cast<std::size_t>(layout_.bytes.data() + layout_.table - at) &&
        count < bytesLeft_ && isAscii(at + 3, count)) {
      bytesLeft_ -= count + 1;
      return {Kind::text, 1, unseen, count, at + 3};
    }
  }
  const Object object = layout_.objectAt(at);
  const std::uint64_t size = std::uint64_t{object.count} * object.unit + 1;
  const bool isTooMuch = size > bytesLeft_;
  bytesLeft_ -= std::min(size, bytesLeft_);
  if (isTooMuch) return {Kind::none, 0, overlapping, 0, nullptr};
  if (object.kind == Kind::text && object.unit == 1 && !isAscii(object.start, object.count))
    return {};
  return object;
}

/// Visits every array and dictionary that can be reached from the top, each once. `Width` is the
/// width of references: a number, or a constant so that the compiler knows it.
template <class Width>
class Walk {
 public:
  Walk(const Layout& layout, std::span<Object> objects, Width width)
      : layout_(layout), objects_(objects), width_(width) {}

  /// Returns the first fault, or null.
  Fault walk() {
    levelsOf(layout_.topIndex, 1);
    return fault_;
  }

 private:
  unsigned levelsOf(Index index, unsigned depth);
  bool areKeysSound(const std::byte* at, std::size_t count, unsigned depth);
  unsigned levelsOfAll(const std::byte* at, std::size_t count, unsigned depth);
  [[nodiscard]] Fault faultOf(Index index) const;

  /// Records a fault. Levels have no meaning from then on.
  unsigned fail(Fault fault) {
    fault_ = fault;
    return 0;
  }

  const Layout& layout_;
  const std::span<Object> objects_;
  [[no_unique_address]] const Width width_;
  Fault fault_ = nullptr;
};

/// The number of levels from the object `index`, which is on level `depth`, down. Recurses no
/// deeper than `maximumDepth`, and into each object once.
template <class Width>
unsigned Walk<Width>::levelsOf(Index index, unsigned depth) {
  constexpr unsigned maximumDepth = BinaryPropertyList::maximumDepth;
  Object& object = objects_[static_cast<std::size_t>(index)];
  const bool isKnown = isContainer(object) && object.levels <= maximumDepth;
  const unsigned least = isKnown ? std::max<unsigned>(object.levels, 1) : 1;
  if (depth + least - 1 > maximumDepth) return fail("objects are nested too deeply");
  if (!object) return fail(faultOf(index));
  if (object.levels == beingWalked) return fail("an object contains itself");
  if (!isContainer(object) || object.levels != unseen) return least;
  object.levels = beingWalked;
  const std::byte* values = object.start;
  if (object.kind == Kind::dictionary) {
    if (!areKeysSound(values, object.count, depth + 1)) return 0;
    values += object.count * width_;
  }
  object.levels = static_cast<std::uint8_t>(1 + levelsOfAll(values, object.count, depth + 1));
  return object.levels;
}

/// Whether the `count` references at `at`, to objects on level `depth`, all refer to strings.
template <class Width>
bool Walk<Width>::areKeysSound(const std::byte* at, std::size_t count, unsigned depth) {
  const std::span<const Object> objects = objects_;
  for (; count > 0; --count, at += width_) {
    const Index key = bigEndian(at, width_);
    if (key < objects.size() && objects[static_cast<std::size_t>(key)].kind == Kind::text &&
        depth <= BinaryPropertyList::maximumDepth)
      continue;
    if (key >= objects.size()) return fail("a reference is out of range") != 0;
    levelsOf(key, depth);
    if (fault_ == nullptr) fail("a key is not a string");
    return false;
  }
  return true;
}

/// The maximum of `levelsOf` for the `count` references at `at`, to objects on level `depth`.
template <class Width>
unsigned Walk<Width>::levelsOfAll(const std::byte* at, std::size_t count, unsigned depth) {
  const std::span<const Object> objects = objects_;
  unsigned levels = count > 0 ? 1 : 0;
  for (; count > 0; --count, at += width_) {
    const Index child = bigEndian(at, width_);
    if (child >= objects.size()) return fail("a reference is out of range");
    // Nearly all elements are not containers.
    if (objects[static_cast<std::size_t>(child)].kind >= Kind::boolean &&
        depth <= BinaryPropertyList::maximumDepth)
      continue;
    levels = std::max(levels, levelsOf(child, depth));
    if (fault_ != nullptr) return 0;
  }
  return levels;
}

/// The reason why the object `index` is invalid.
template <class Width>
Fault Walk<Width>::faultOf(Index index) const {
  if (objects_[static_cast<std::size_t>(index)].levels == overlapping) return "objects overlap";
  const std::byte* const at = layout_.startOf(index);
  return layout_.objectAt(at) ? "an ASCII string holds another byte" : layout_.faultAt(at);
}

/// Checks all objects that can be reached from the top. Returns the first fault, or null.
Fault walk(const Layout& layout, std::span<Object> objects) {
  if (layout.referenceWidth == 1)  // nearly always
    return Walk(layout, objects, std::integral_constant<std::size_t, 1>()).walk();
  return Walk(layout, objects, layout.referenceWidth).walk();
}

}  // namespace

Result<BinaryPropertyList> BinaryPropertyList::open(ByteView bytes) {
  Layout layout;
  if (const Fault fault = layout.read(bytes)) return Failure{FailureCause::malformed, fault};
  BinaryPropertyList list;
  const auto count = static_cast<std::size_t>(layout.objectCount);
  list.objects_ = std::make_unique_for_overwrite<Object[]>(count);
  const std::span objects(list.objects_.get(), count);
  list.topIndex_ = layout.topIndex;
  list.referenceWidth_ = layout.referenceWidth;
  if (!Scan(layout, objects).readAll())
    return Failure{FailureCause::malformed, "an offset is out of range"};
  if (const Fault fault = walk(layout, objects)) return Failure{FailureCause::malformed, fault};
  return list;
}

const BinaryPropertyList::Object& BinaryPropertyList::find(const Object& dictionary,
                                                           std::string_view key) const {
  static constexpr Object none{};
  const std::byte* at = dictionary.start;
  for (std::size_t i = 0; i < dictionary.count; ++i, at += referenceWidth_) {
    if (object(bigEndian(at, referenceWidth_)).textEquals(key)) return object(value(dictionary, i));
  }
  return none;
}

}  // namespace corvane
