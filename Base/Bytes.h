#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace corvane {

/// Bytes that somebody else owns.
using ByteView = std::span<const std::byte>;

/// The bytes of a text, without a copy.
inline ByteView bytesOf(std::string_view text) {
  return std::as_bytes(std::span(text));
}

/// The text that bytes hold, without a copy or a check.
inline std::string_view textOf(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The unsigned big-endian integer in the first `width` (0 to 8) bytes of `bytes`, which must be
/// there.
inline std::uint64_t bigEndian(ByteView bytes, std::size_t width) {
  if (width == 1) return std::to_integer<std::uint64_t>(bytes[0]);  // most are
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i)
    value = value << 8 | std::to_integer<std::uint64_t>(bytes[i]);
  return value;
}

}  // namespace corvane
