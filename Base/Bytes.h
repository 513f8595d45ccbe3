#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace corvane {

/// A view of bytes that another object owns. That object must outlive the view and not move them.
using ByteView = std::span<const std::byte>;

/// The bytes of `text` without a copy; valid as long as the characters that `text` refers to.
inline ByteView bytesOf(std::string_view text) {
  return std::as_bytes(std::span(text));
}

/// `bytes` as a string, without a copy and without a check that they are UTF-8; valid as long as
/// they are.
inline std::string_view textOf(ByteView bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The unsigned integer in the `width` (0 to 8) bytes at `bytes`, most significant byte first, as
/// binary property lists store their numbers. 0 if `width` is 0. Does not check that so many bytes
/// may be read.
inline std::uint64_t bigEndian(const std::byte* bytes, std::size_t width) {
  const auto byte = [bytes](std::size_t i) { return std::to_integer<std::uint64_t>(bytes[i]); };
  if (width == 1) return byte(0);  // nearly all numbers have these two widths
  if (width == 2) return byte(0) << 8 | byte(1);
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | byte(i);
  return value;
}

}  // namespace corvane
