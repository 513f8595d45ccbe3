#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace corvane::Platform {

/// Fills `bytes`, at most 256, with random bits from getentropy(3). Throws std::runtime_error if
/// that fails, which stops the host. Thread-safe.
void randomBytes(std::span<std::byte> bytes);

/// Returns `count` random bytes; fails likewise.
template <std::size_t count>
std::array<std::byte, count> randomBytes() {
  std::array<std::byte, count> bytes = {};
  randomBytes(bytes);
  return bytes;
}

}  // namespace corvane::Platform
