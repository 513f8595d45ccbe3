#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "Base/Bytes.h"

/// How records lie in an exchange file: an archive, then its length in bytes.
namespace corvane::MainApp::RecordLayout {

/// The length is an unsigned integer of so many bytes, the lowest first.
inline constexpr std::size_t lengthSize = 4;

/// Nothing is added to a file that has more bytes than this.
inline constexpr std::uint64_t fullFile = 10'240'000;

/// No archive has more bytes than this.
inline constexpr std::size_t largestArchive = 1'024'000;

/// So no file has more bytes than this.
inline constexpr std::uint64_t largestFile = fullFile + largestArchive + lengthSize;

inline std::array<std::byte, lengthSize> lengthBytes(std::size_t length) {
  std::array<std::byte, lengthSize> bytes{};
  for (std::size_t i = 0; i < lengthSize; ++i) bytes.at(i) = std::byte(length >> (8 * i) & 0xFF);
  return bytes;
}

inline std::size_t lengthFrom(ByteView bytes) {
  std::size_t length = 0;
  for (std::size_t i = lengthSize; i-- > 0;)
    length = length << 8 | std::to_integer<std::size_t>(bytes[i]);
  return length;
}

}  // namespace corvane::MainApp::RecordLayout
