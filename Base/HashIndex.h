#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace corvane {

/// A hash of `bytes`, made of their number and of the eight at either end. It withstands chance,
/// not intent: of texts that are alike there, each is compared with all before it.
constexpr std::uint32_t quickHash(std::string_view bytes) {
  const auto read = [bytes](std::size_t at, std::size_t count) {  // one instruction for 4 or 8
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < count; ++i)
      word = word << 8 | static_cast<unsigned char>(bytes[at + i]);
    return word;
  };
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  if (bytes.size() >= 8) {
    first = read(0, 8);
    last = read(bytes.size() - 8, 8);
  } else if (bytes.size() >= 4) {
    first = read(0, 4);
    last = read(bytes.size() - 4, 4);
  } else {
    first = read(0, bytes.size());
  }
  constexpr std::uint64_t factor = 0x9E3779B97F4A7C15U;  // 2^64 divided by the golden ratio
  return static_cast<std::uint32_t>((((first + bytes.size()) * factor ^ last) * factor) >> 32);
}

/// Finds again what its owner keeps elsewhere: positions (numbers of the owner's) under hashes.
/// Takes no memory until something is put in.
class HashIndex {
 public:
  using Hash = std::uint32_t;
  using Position = std::uint32_t;

  static constexpr Position none = static_cast<Position>(-1);

  HashIndex() = default;
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
