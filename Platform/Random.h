#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace corvane::Platform {

/// Fills `bytes`, at most 256, with random bits of the system's (getentropy(3)). Throws
/// std::runtime_error if it gives none, which stops the host. Thread-safe.
void randomBytes(std::span<std::byte> bytes);

/// As above, `count` of them.
template <std::size_t count>
std::array<std::byte, count> randomBytes() {
  std::array<std::byte, count> bytes = {};
  randomBytes(bytes);
  return bytes;
}

}  // namespace corvane::Platform
