#pragma once

#include <cstddef>
#include <vector>

namespace corvane {

/// Finds again what its owner keeps elsewhere: positions (numbers of the owner's) under hashes.
/// For tables that only grow, and that are asked far more often than they are made.
class HashIndex {
 public:
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  HashIndex() : slots_(initialSlots) {}

  /// The position under `hash` of which `isEqual` is true, or `none`.
  template <class IsEqual>
  [[nodiscard]] std::size_t find(std::size_t hash, IsEqual isEqual) const {
    for (std::size_t at = hash & mask();; at = (at + 1) & mask()) {
      const Slot& slot = slots_[at];
      if (slot.position == none) return none;
      if (slot.hash == hash && isEqual(slot.position)) return slot.position;
    }
  }

  /// Adds `position`, of which `find` has just said that nothing equals it.
  void insert(std::size_t hash, std::size_t position) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    put({hash, position});
    ++count_;
  }

 private:
  struct Slot {
    std::size_t hash = 0;
    std::size_t position = none;
  };

  static constexpr std::size_t initialSlots = 128;  // a power of two, as all sizes are

  [[nodiscard]] std::size_t mask() const { return slots_.size() - 1; }

  void put(const Slot& slot) {
    std::size_t at = slot.hash & mask();
    while (slots_[at].position != none) at = (at + 1) & mask();
    slots_[at] = slot;
  }

  void grow() {
    std::vector<Slot> old(2 * slots_.size());
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.position != none) put(slot);
    }
  }

  std::vector<Slot> slots_;  // at most half of them taken
  std::size_t count_ = 0;
};

}  // namespace corvane
