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

/// The unsigned big-endian integer in the `width` (0 to 8) bytes at `bytes`.
inline std::uint64_t bigEndian(const std::byte* bytes, std::size_t width) {
  const auto byte = [bytes](std::size_t i) { return std::to_integer<std::uint64_t>(bytes[i]); };
  if (width == 1) return byte(0);  // nearly all are these two
  if (width == 2) return byte(0) << 8 | byte(1);
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | byte(i);
  return value;
}

}  // namespace corvane
