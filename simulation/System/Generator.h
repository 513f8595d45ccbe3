#pragma once

#include <cstddef>
#include <cstdint>

namespace corvane::Simulation {

/// The source of all randomness in a run: the same seed gives the same run. SplitMix64
/// (https://prng.di.unimi.it/splitmix64.c), which accepts any seed.
class Generator {
 public:
  explicit Generator(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15U);
    z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9U;
    z = (z ^ z >> 27) * 0x94D049BB133111EBU;
    return z ^ z >> 31;
  }

  /// Returns 0 to `count` - 1. `count` must be above 0.
  std::uint64_t below(std::uint64_t count) { return next() % count; }

  /// Returns `least` to `most`, both included.
  std::int64_t between(std::int64_t least, std::int64_t most) {
    return least + static_cast<std::int64_t>(below(static_cast<std::uint64_t>(most - least) + 1));
  }

  /// Returns true with probability 1 / `count`; never if `count` is 0.
  bool oneIn(std::uint64_t count) { return count != 0 && below(count) == 0; }

  /// Returns one of the elements of `list`, which must not be empty.
  template <class List>
  auto& of(List& list) {
    return list[static_cast<std::size_t>(below(list.size()))];
  }

 private:
  std::uint64_t state_;
};

}  // namespace corvane::Simulation
