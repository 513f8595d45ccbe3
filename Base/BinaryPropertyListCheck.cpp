#include "Base/BinaryPropertyListCheck.h"

#include <algorithm>

#include "Base/Unicode.h"

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

}  // namespace

BinaryPropertyListCheck::BinaryPropertyListCheck(const BinaryPropertyList& list)
    : list_(list),
      heights_(static_cast<std::size_t>(list.objectCount_), unseen),
      bytesLeft_(timesTheFile * list.bytes_.size()) {}

Result<Done> BinaryPropertyListCheck::checkAll() {
  unsigned height = 0;
  if (const Fault fault = measure(list_.topIndex_, 1, height); fault != nullptr)
    return Failure{FailureCause::malformed, fault};
  return Done{};
}

/// Says how many levels there are from the object `index`, which stands on level `depth`, down.
/// Never goes deeper than the depth allowed, and into each object once.
BinaryPropertyListCheck::Fault BinaryPropertyListCheck::measure(Index index, unsigned depth,
                                                                unsigned& height) {
  if (index >= list_.objectCount_) return "a reference is out of range";
  const std::uint8_t known = heights_[static_cast<std::size_t>(index)];
  if (known == beingWalked) return "an object contains itself";
  if (depth + (known == unseen ? 1U : known) - 1 > BinaryPropertyList::maximumDepth)
    return "objects are nested too deeply";
  height = known;
  if (known != unseen) return nullptr;

  Object object;
  if (const Fault fault = list_.read(index, object); fault != nullptr) return fault;
  if (const Fault fault = checkContent(object); fault != nullptr) return fault;
  heights_[static_cast<std::size_t>(index)] = beingWalked;
  if (const Fault fault = measureBelow(object, depth, height); fault != nullptr) return fault;
  ++height;
  heights_[static_cast<std::size_t>(index)] = static_cast<std::uint8_t>(height);
  return nullptr;
}

/// Says the greatest height among what `object` contains; 0 when that is nothing.
BinaryPropertyListCheck::Fault BinaryPropertyListCheck::measureBelow(const Object& object,
                                                                     unsigned depth,
                                                                     unsigned& height) {
  height = 0;
  const bool isDictionary = object.kind == Kind::dictionary;
  if (!isDictionary && object.kind != Kind::array) return nullptr;
  const std::size_t references = isDictionary ? 2 * object.count : object.count;
  for (std::size_t i = 0; i < references; ++i) {
    const Index child = list_.element(object, i);
    unsigned childsHeight = 0;
    if (const Fault fault = measure(child, depth + 1, childsHeight); fault != nullptr) return fault;
    if (isDictionary && i < object.count && list_.object(child).kind != Kind::text)
      return "a key is not a string";
    height = std::max(height, childsHeight);
  }
  return nullptr;
}

BinaryPropertyListCheck::Fault BinaryPropertyListCheck::checkContent(const Object& object) {
  const std::uint64_t size = object.payload.size() + 1;
  if (size > bytesLeft_) return "objects overlap";
  bytesLeft_ -= size;
  const bool isAsciiText = object.kind == Kind::text && object.payload.size() == object.count;
  if (isAsciiText && !Unicode::isAscii(textOf(object.payload)))
    return "an ASCII string holds another byte";
  return nullptr;
}

}  // namespace corvane
