#include <algorithm>
#include <bit>

#include "Base/BinaryPropertyList.h"
#include "Base/Unicode.h"

namespace corvane {
namespace {

char32_t unitAt(ByteView payload, std::size_t position) {
  return static_cast<char32_t>(bigEndian(payload.subspan(2 * position), 2));
}

}  // namespace

bool BinaryPropertyList::Object::boolean() const {
  return payload[0] == std::byte{9};
}

BinaryPropertyList::Integer BinaryPropertyList::Object::integer() const {
  // Of 16 bytes the lower 8 count, unsigned; writers disagree on what the upper ones hold.
  const std::size_t width = std::min<std::size_t>(payload.size(), 8);
  const std::uint64_t bits = bigEndian(payload.last(width), width);
  return {bits, payload.size() == 8 && bits >> 63 != 0};
}

double BinaryPropertyList::Object::real() const {
  const std::uint64_t bits = bigEndian(payload, payload.size());
  if (payload.size() == sizeof(float))
    return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  return std::bit_cast<double>(bits);
}

std::uint32_t BinaryPropertyList::Object::uid() const {
  const std::size_t width = std::min<std::size_t>(payload.size(), 4);
  return static_cast<std::uint32_t>(bigEndian(payload.last(width), width));
}

std::string BinaryPropertyList::Object::text() const {
  if (payload.size() == count) return std::string(textOf(payload));
  std::string result;
  result.reserve(payload.size());
  for (std::size_t i = 0; i < count; ++i) {
    char32_t character = unitAt(payload, i);
    if (Unicode::isLeadingSurrogate(character) && i + 1 < count) {
      const char32_t next = unitAt(payload, i + 1);
      if (Unicode::isTrailingSurrogate(next)) {
        character = Unicode::fromPair(character, next);
        ++i;
      }
    }
    Unicode::append(result, character);
  }
  return result;
}

bool BinaryPropertyList::Object::textEquals(std::string_view other) const {
  if (payload.size() == count) return textOf(payload) == other;
  if (!Unicode::isAscii(other)) return text() == other;
  if (count != other.size()) return false;
  for (std::size_t i = 0; i < count; ++i) {
    if (unitAt(payload, i) != static_cast<unsigned char>(other[i])) return false;
  }
  return true;
}

}  // namespace corvane
