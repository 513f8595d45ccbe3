#include "Base/BinaryPropertyListCheck.h"

#include <algorithm>

namespace corvane {
namespace {

using Kind = BinaryPropertyList::Kind;

constexpr std::uint8_t unseen = 0;
constexpr std::uint8_t beingWalked = 255;
static_assert(BinaryPropertyList::maximumDepth < beingWalked);

// Objects that overlap are no fault in themselves, but thousands that share the same bytes would
// make the walk quadratic. No writer overlaps them, so the objects of a sound file have fewer bytes
// than the file.
constexpr std::uint64_t timesTheFile = 4;

Failure malformed(const char* reason) {
  return {FailureCause::malformed, reason};
}

bool isAscii(ByteView bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](std::byte byte) { return byte < std::byte{0x80}; });
}

}  // namespace

BinaryPropertyListCheck::BinaryPropertyListCheck(const BinaryPropertyList& list)
    : list_(list),
      heights_(static_cast<std::size_t>(list.objectCount_), unseen),
      bytesLeft_(timesTheFile * list.bytes_.size()) {}

Result<Done> BinaryPropertyListCheck::checkAll() {
  const auto height = heightOf(list_.topIndex_, 1);
  if (!height) return height.failure();
  return Done{};
}

/// How many levels there are from the object `index`, which stands on level `depth`, down. Never
/// goes deeper than the depth allowed, and into each object once.
Result<unsigned> BinaryPropertyListCheck::heightOf(Index index, unsigned depth) {
  const auto object = list_.read(index);  // refuses an index out of range
  if (!object) return object.failure();
  const std::uint8_t known = heights_[static_cast<std::size_t>(index)];
  if (known == beingWalked) return malformed("an object contains itself");
  if (depth + (known == unseen ? 1U : known) - 1 > BinaryPropertyList::maximumDepth) {
    return malformed("objects are nested too deeply");
  }
  if (known != unseen) return known;

  if (const auto checked = checkContent(object.value()); !checked) return checked.failure();
  heights_[static_cast<std::size_t>(index)] = beingWalked;
  auto below = heightBelow(object.value(), depth);
  if (!below) return below;
  const unsigned height = below.value() + 1;
  heights_[static_cast<std::size_t>(index)] = static_cast<std::uint8_t>(height);
  return height;
}

/// The greatest height among what `object` contains; 0 when that is nothing.
Result<unsigned> BinaryPropertyListCheck::heightBelow(const Object& object, unsigned depth) {
  unsigned highest = 0;
  const bool isDictionary = object.kind == Kind::dictionary;
  if (!isDictionary && object.kind != Kind::array) return highest;
  const std::size_t references = isDictionary ? 2 * object.count : object.count;
  for (std::size_t i = 0; i < references; ++i) {
    const Index child = list_.element(object, i);
    auto height = heightOf(child, depth + 1);
    if (!height) return height;
    if (isDictionary && i < object.count && list_.object(child).kind != Kind::text) {
      return malformed("a key is not a string");
    }
    highest = std::max(highest, height.value());
  }
  return highest;
}

Result<Done> BinaryPropertyListCheck::checkContent(const Object& object) {
  const std::uint64_t size = object.payload.size() + 1;
  if (size > bytesLeft_) return malformed("objects overlap");
  bytesLeft_ -= size;
  const bool isAsciiText = object.kind == Kind::text && object.payload.size() == object.count;
  if (isAsciiText && !isAscii(object.payload))
    return malformed("an ASCII string holds another byte");
  return Done{};
}

}  // namespace corvane
