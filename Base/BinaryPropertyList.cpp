#include "Base/BinaryPropertyList.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "Base/Unicode.h"

namespace corvane {
namespace {

constexpr std::string_view magic = "bplist00";
constexpr std::size_t trailerSize = 32;

using Kind = BinaryPropertyList::Kind;

/// What an object is that begins with a certain marker.
struct Form {
  enum class Unit : std::uint8_t { fixed, one, two, reference, pair };

  Kind kind = Kind::none;
  Unit unit = Unit::fixed;  ///< of what is counted; `fixed`: there is one, of `size` bytes
  std::uint8_t size = 0;
  std::uint8_t start = 1;  ///< where the content begins: 0 where the marker is all
};

/// By marker. A table, as a processor can't guess which way a switch over mixed objects goes.
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

}  // namespace

/// The object at `at`, which is below the offset table; none when something is wrong with it.
inline BinaryPropertyList::Object BinaryPropertyList::objectAt(const std::byte* at) const {
  const auto left = static_cast<std::size_t>(bytes_.data() + table_ - at);
  const unsigned marker = markerAt(at);
  const Form form = forms[marker];
  std::uint32_t count = 1;
  std::uint8_t unit = form.size;
  if (form.unit != Form::Unit::fixed) {
    count = marker & countFollows;
    if (count == countFollows) return longObjectAt(at);
    unit = unitSizes_[static_cast<std::size_t>(form.unit)];
  } else if (form.kind == Kind::uid && form.size > sizeof(std::uint32_t)) {
    return longObjectAt(at);
  }
  if (form.start + std::size_t{count} * unit > left) return {};
  return {form.kind, unit, count, at + form.start};
}

/// The same for objects that are longer than most.
BinaryPropertyList::Object BinaryPropertyList::longObjectAt(const std::byte* at) const {
  const std::byte* const end = bytes_.data() + table_;
  const Form form = forms[markerAt(at++)];
  if (form.kind == Kind::uid) {
    const std::size_t excess = form.size - sizeof(std::uint32_t);
    if (form.size > end - at || !isZero({at, excess})) return {};
    return {form.kind, form.size, 1, at};
  }
  const unsigned marker = at < end ? markerAt(at) : 0;  // an integer object with the count follows
  const std::ptrdiff_t width = std::ptrdiff_t{1} << (marker & 0xF);
  if (marker < 0x10 || marker > 0x13 || width >= end - at) return {};
  const std::uint64_t count = bigEndian(at + 1, static_cast<std::size_t>(width));
  at += 1 + width;
  const auto left = static_cast<std::size_t>(end - at);
  const std::uint8_t unit = unitSizes_[static_cast<std::size_t>(form.unit)];
  if (count > left || count * unit > left) return {};
  return {form.kind, unit, static_cast<std::uint32_t>(count), at};
}

/// Says why there is no object at `at`.
BinaryPropertyList::Fault BinaryPropertyList::faultAt(const std::byte* at) const {
  const std::byte* const end = bytes_.data() + table_;
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

/// The check behind `open`: looks at every object by itself, in one tight loop, then walks once
/// over every array and dictionary that can be reached from the top.
class BinaryPropertyList::Check {
 public:
  /// `list`: its trailer is sound already.
  explicit Check(const BinaryPropertyList& list)
      : list_(list), marks_(static_cast<std::size_t>(list.objectCount_)) {}

  /// What is wrong, or null.
  Fault checkAll() {
    if (!lookAtAll()) return "an offset is out of range";
    heightOf(list_.topIndex_, 1);
    return fault_;
  }

 private:
  /// What is known of an object: one of these, or the levels from an array or dictionary down.
  enum Mark : std::uint8_t { unseen = 0, scalar = 1, text = 252, wrong, overlapping, beingWalked };
  static_assert(maximumDepth < text);

  // Objects that overlap are no fault in themselves, but thousands that share the same bytes would
  // take the square of the time. No writer overlaps them, so the objects of a sound file have fewer
  // bytes than the file.
  static constexpr std::uint64_t timesTheFile = 4;

  bool lookAtAll();
  [[nodiscard]] Mark markOf(const Object& object) const;
  unsigned heightOf(Index index, unsigned depth);
  unsigned heightBelow(const Object& object, unsigned depth);
  unsigned failAt(Index index, Mark mark);

  /// Notes what is wrong. Heights don't count from then on.
  unsigned fail(Fault fault) {
    fault_ = fault;
    return 0;
  }

  const BinaryPropertyList& list_;
  std::vector<std::uint8_t> marks_;  // of each object
  Fault fault_ = nullptr;
};

/// False when an offset is out of range. What is wrong otherwise counts only if it is reached.
bool BinaryPropertyList::Check::lookAtAll() {
  const BinaryPropertyList list = list_;  // where no other write can change it
  std::uint64_t bytesLeft = timesTheFile * list.bytes_.size();
  const std::byte* entry = list.bytes_.data() + list.table_;
  std::uint8_t* mark = marks_.data();
  for (Index left = list.objectCount_; left > 0; --left, ++mark, entry += list.offsetWidth_) {
    const std::uint64_t offset = bigEndian(entry, list.offsetWidth_);
    if (offset < magic.size() || offset >= list.table_) return false;
    const Object object = list.objectAt(list.bytes_.data() + offset);
    const std::uint64_t size = std::uint64_t{object.count} * object.unit + 1;
    *mark = size > bytesLeft ? overlapping : markOf(object);
    bytesLeft -= std::min(size, bytesLeft);
  }
  return true;
}

inline BinaryPropertyList::Check::Mark BinaryPropertyList::Check::markOf(
    const Object& object) const {
  if (object.kind == Kind::text)
    return object.unit == 1 && !Unicode::isAscii(textOf(object.payload())) ? wrong : text;
  if (object.kind == Kind::array || object.kind == Kind::dictionary) return unseen;
  return object ? scalar : wrong;
}

/// How many levels there are from the object `index`, which stands on level `depth`, down. Never
/// goes deeper than the depth allowed, and into each object once.
unsigned BinaryPropertyList::Check::heightOf(Index index, unsigned depth) {
  std::uint8_t& mark = marks_[static_cast<std::size_t>(index)];
  const unsigned least = mark > scalar && mark < text ? mark : 1;
  if (depth + least - 1 > maximumDepth) return fail("objects are nested too deeply");
  if (mark >= wrong) return failAt(index, static_cast<Mark>(mark));
  if (mark == unseen) {
    mark = beingWalked;
    mark = static_cast<std::uint8_t>(1 + heightBelow(list_.object(index), depth));
    return mark;
  }
  return least;
}

/// The greatest height among what `object` contains; 0 when that is nothing.
unsigned BinaryPropertyList::Check::heightBelow(const Object& object, unsigned depth) {
  const std::size_t width = list_.referenceWidth_;
  const std::size_t keys = object.kind == Kind::dictionary ? object.count : 0;
  const std::byte* at = object.start;
  const bool mayHoldMore = depth < maximumDepth;
  unsigned height = 0;
  for (std::size_t i = 0; i < keys + object.count; ++i, at += width) {
    const Index child = bigEndian(at, width);
    if (child >= marks_.size()) return fail("a reference is out of range");
    const std::uint8_t mark = marks_[static_cast<std::size_t>(child)];
    if (mayHoldMore && (mark == text || (mark == scalar && i >= keys))) {  // most are
      height = std::max(height, 1U);
      continue;
    }
    height = std::max(height, heightOf(child, depth + 1));
    if (fault_ != nullptr) return 0;
    if (i < keys && mark != text) return fail("a key is not a string");
  }
  return height;
}

/// Says what is wrong with the object that has the mark `mark`.
unsigned BinaryPropertyList::Check::failAt(Index index, Mark mark) {
  if (mark == beingWalked) return fail("an object contains itself");
  if (mark == overlapping) return fail("objects overlap");
  const std::byte* const at = list_.startOf(index);
  return fail(list_.objectAt(at) ? "an ASCII string holds another byte" : list_.faultAt(at));
}

Result<BinaryPropertyList> BinaryPropertyList::open(ByteView bytes) {
  BinaryPropertyList list;
  list.bytes_ = bytes;
  Fault fault = list.readTrailer();
  if (fault == nullptr) fault = Check(list).checkAll();
  if (fault != nullptr) return Failure{FailureCause::malformed, fault};
  return list;
}

BinaryPropertyList::Fault BinaryPropertyList::readTrailer() {
  if (!textOf(bytes_).starts_with(magic)) return "not a binary property list";
  if (bytes_.size() < magic.size() + trailerSize) return "the trailer is missing";
  if (bytes_.size() > UINT32_MAX) return "there are too many bytes";
  const std::size_t tableEnd = bytes_.size() - trailerSize;
  const std::byte* const trailer = bytes_.data() + tableEnd;
  offsetWidth_ = std::to_integer<std::size_t>(trailer[6]);
  referenceWidth_ = std::to_integer<std::size_t>(trailer[7]);
  objectCount_ = bigEndian(trailer + 8, 8);
  topIndex_ = bigEndian(trailer + 16, 8);
  const std::uint64_t table = bigEndian(trailer + 24, 8);
  if (offsetWidth_ < 1 || offsetWidth_ > 8) return "offsets have no such width";
  if (referenceWidth_ < 1 || referenceWidth_ > 8) return "references have no such width";
  if (table <= magic.size() || table > tableEnd) return "the offset table is out of place";
  table_ = static_cast<std::size_t>(table);
  const std::size_t tableSize = tableEnd - table_;
  if (objectCount_ == 0 || tableSize % offsetWidth_ != 0 ||
      tableSize / offsetWidth_ != objectCount_) {
    return "the offset table has another size than the object count says";
  }
  if (topIndex_ >= objectCount_) return "the top object is out of range";
  using Unit = Form::Unit;
  unitSizes_[static_cast<std::size_t>(Unit::reference)] =
      static_cast<std::uint8_t>(referenceWidth_);
  unitSizes_[static_cast<std::size_t>(Unit::pair)] = static_cast<std::uint8_t>(2 * referenceWidth_);
  return nullptr;
}

BinaryPropertyList::Object BinaryPropertyList::object(Index index) const {
  return objectAt(startOf(index));
}

bool BinaryPropertyList::isText(Index index, std::string_view other) const {
  const std::byte* const at = startOf(index);
  const unsigned marker = markerAt(at);
  if (marker == (0x50 | other.size()) && other.size() < countFollows)
    return std::memcmp(at + 1, other.data(), other.size()) == 0;
  if (marker < 0x5F || marker >= 0x70) return false;  // no text, or a short one of another length
  return object(index).textEquals(other);
}

std::optional<std::uint32_t> BinaryPropertyList::uid(Index index) const {
  const std::byte* const at = startOf(index);
  if (markerAt(at) == 0x80) return std::to_integer<std::uint32_t>(at[1]);  // most are
  const Object object = this->object(index);
  if (object.kind != Kind::uid) return std::nullopt;
  return object.uid();
}

BinaryPropertyList::Object BinaryPropertyList::find(const Object& dictionary,
                                                    std::string_view key) const {
  for (std::size_t i = 0; i < dictionary.count; ++i) {
    if (isText(this->key(dictionary, i), key)) return object(value(dictionary, i));
  }
  return {};
}

}  // namespace corvane
