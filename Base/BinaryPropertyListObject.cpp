#include <algorithm>
#include <bit>

#include "Base/BinaryPropertyList.h"
#include "Base/Unicode.h"

namespace corvane {
namespace {

char32_t unitAt(const std::byte* start, std::size_t position) {
  return static_cast<char32_t>(bigEndian(start + 2 * position, 2));
}

}  // namespace

bool BinaryPropertyList::Object::boolean() const {
  return *start == std::byte{9};
}

BinaryPropertyList::Integer BinaryPropertyList::Object::integer() const {
  // Of 16 bytes only the lower 8 count, unsigned: writers disagree about the upper ones.
  const std::size_t width = std::min<std::size_t>(unit, 8);
  const std::uint64_t bits = bigEndian(start + unit - width, width);
  return {bits, unit == 8 && bits >> 63 != 0};
}

double BinaryPropertyList::Object::real() const {
  const std::uint64_t bits = bigEndian(start, unit);
  if (unit == sizeof(float)) return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  return std::bit_cast<double>(bits);
}

std::string BinaryPropertyList::Object::wideText() const {
  std::string text;
  text.reserve(payload().size());
  for (std::size_t i = 0; i < count; ++i) {
    char32_t character = unitAt(start, i);
    if (Unicode::isLeadingSurrogate(character) && i + 1 < count) {
      const char32_t next = unitAt(start, i + 1);
      if (Unicode::isTrailingSurrogate(next)) {
        character = Unicode::fromPair(character, next);
        ++i;
      }
    }
    Unicode::append(text, character);
  }
  return text;
}

bool BinaryPropertyList::Object::wideTextEquals(std::string_view other) const {
  if (!Unicode::isAscii(other)) return wideText() == other;
  if (count != other.size()) return false;
  for (std::size_t i = 0; i < count; ++i) {
    if (unitAt(start, i) != static_cast<unsigned char>(other[i])) return false;
  }
  return true;
}

}  // namespace corvane
