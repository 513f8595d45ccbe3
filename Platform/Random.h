#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace corvane::Platform {

/// Fills `bytes`, at most 256 of them, with unpredictable bits from the system's generator
/// (getentropy(3)). Throws std::runtime_error if that fails; the host does not catch it, because
/// without random names it must not go on. Thread-safe.
void randomBytes(std::span<std::byte> bytes);

/// Returns `count` such bytes, at most 256. Throws likewise. Thread-safe.
template <std::size_t count>
std::array<std::byte, count> randomBytes() {
  std::array<std::byte, count> bytes = {};
  randomBytes(bytes);
  return bytes;
}

}  // namespace corvane::Platform
