#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace corvane {

/// The `Word` at `bytes`, in the processor's order of bytes; in constant expressions, too.
template <class Word>
constexpr std::uint64_t wordAt(const char* bytes) {
  Word word = 0;
  if (std::is_constant_evaluated()) {
    for (std::size_t i = 0; i < sizeof word; ++i) {
      const std::size_t place =
          std::endian::native == std::endian::little ? i : sizeof word - 1 - i;
      word |= static_cast<Word>(static_cast<unsigned char>(bytes[i])) << 8 * place;
    }
  } else {
    std::memcpy(&word, bytes, sizeof word);
  }
  return word;
}

/// Hashes the length and the first and last eight bytes. For what the host or its main application
/// writes itself: chosen strings can collide, and each is then compared with all before it.
constexpr std::uint32_t quickHash(std::string_view bytes) {
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  const char* const end = bytes.data() + bytes.size();
  if (bytes.size() >= 8) {
    first = wordAt<std::uint64_t>(bytes.data());
    last = wordAt<std::uint64_t>(end - 8);
  } else if (bytes.size() >= 4) {
    first = wordAt<std::uint32_t>(bytes.data());
    last = wordAt<std::uint32_t>(end - 4);
  } else {
    for (const char byte : bytes) first = first << 8 | static_cast<unsigned char>(byte);
  }
  constexpr std::uint64_t factor = 0x9E3779B97F4A7C15U;  // 2^64 divided by the golden ratio
  return static_cast<std::uint32_t>((((first + bytes.size()) * factor ^ last) * factor) >> 32);
}

/// An open-addressing index into storage that the caller owns: maps hashes to positions in it.
/// Allocates only beyond 32 positions.
class HashIndex {
 public:
  using Hash = std::uint32_t;
  using Position = std::uint32_t;

  static constexpr Position none = static_cast<Position>(-1);

  HashIndex() = default;
  ~HashIndex() = default;
  HashIndex(const HashIndex&) = delete;
  HashIndex& operator=(const HashIndex&) = delete;

  /// The position under `hash` of which `isEqual` is true, or `none`.
  template <class IsEqual>
  [[nodiscard]] Position find(Hash hash, IsEqual isEqual) const {
    for (std::size_t at = hash & mask();; at = (at + 1) & mask()) {
      const Slot& slot = slots_[at];
      if (slot.next == 0) return none;
      if (slot.hash == hash && isEqual(slot.next - 1)) return slot.next - 1;
    }
  }

  /// Adds `position`, of which `find` has just said that nothing equals it.
  void insert(Hash hash, Position position) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    put({hash, position + 1});
    ++count_;
  }

 private:
  struct Slot {
    Hash hash;
    Position next;  // the position and 1; 0: the slot is free, so that all can be made by zeroing
  };

  [[nodiscard]] std::size_t mask() const { return slots_.size() - 1; }

  void put(const Slot& slot) {
    std::size_t at = slot.hash & mask();
    while (slots_[at].next != 0) at = (at + 1) & mask();
    slots_[at] = slot;
  }

  void grow() {
    std::vector<Slot> wider(2 * slots_.size());
    const std::span<const Slot> old = slots_;
    slots_ = wider;
    for (const Slot& slot : old) {
      if (slot.next != 0) put(slot);
    }
    many_ = std::move(wider);
  }

  std::array<Slot, 64> few_{};
  std::vector<Slot> many_;        // instead, once those are too few
  std::span<Slot> slots_ = few_;  // a power of two, at most half of them taken
  std::size_t count_ = 0;
};

}  // namespace corvane
