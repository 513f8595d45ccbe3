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

/// The unsigned integer of type `Word` whose bytes begin at `bytes`, in the byte order of the
/// processor. Also works in constant expressions, where memcpy is not allowed, and gives the same
/// value there. `bytes` needs no alignment.
template <class Word>
constexpr std::uint64_t wordAt(const char* bytes) {
  Word word = 0;
  if (std::is_constant_evaluated()) {
    for (std::size_t i = 0; i < sizeof word; ++i) {
      const std::size_t place =  // of this byte in the word, counted from its low end
          std::endian::native == std::endian::little ? i : sizeof word - 1 - i;
      word |= static_cast<Word>(static_cast<unsigned char>(bytes[i])) << 8 * place;
    }
  } else {
    std::memcpy(&word, bytes, sizeof word);
  }
  return word;
}

/// Hashes the length and the first and last eight bytes, in constant time. Strings that differ only
/// between those collide, and a lookup then compares each of them: meant for data that the host or
/// its main application writes, not for keys that an attacker chooses. The value may differ between
/// processors, so it must not be stored.
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

/// A hash table with open addressing and linear probing that indexes storage of the caller. It
/// holds only hashes and positions; the caller keeps the elements (in a vector, a buffer), hashes
/// them and compares them. Elements can be added, not removed. Allocates only beyond 32 positions.
/// Throws std::bad_alloc. Not thread-safe; cannot be copied, as it refers to its own memory.
class HashIndex {
 public:
  using Hash = std::uint32_t;
  using Position = std::uint32_t;  ///< of an element in the caller's storage

  /// What `find` returns if there is no such element. Cannot be inserted.
  static constexpr Position none = static_cast<Position>(-1);

  HashIndex() = default;
  ~HashIndex() = default;
  HashIndex(const HashIndex&) = delete;
  HashIndex& operator=(const HashIndex&) = delete;

  /// Returns the position that was inserted under `hash` and for which `isEqual(position)` returns
  /// true, or `none`. Calls `isEqual` only for positions with the same hash.
  template <class IsEqual>
  [[nodiscard]] Position find(Hash hash, IsEqual isEqual) const {
    for (std::size_t at = hash & mask();; at = (at + 1) & mask()) {
      const Slot& slot = slots_[at];
      if (slot.positionPlusOne == 0) return none;
      if (slot.hash == hash && isEqual(slot.positionPlusOne - 1)) return slot.positionPlusOne - 1;
    }
  }

  /// Adds `position`, below `none`. The caller must have looked for an equal element first: two
  /// equal ones would both stay in the index.
  void insert(Hash hash, Position position) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    put({hash, position + 1});
    ++count_;
  }

 private:
  struct Slot {
    Hash hash;
    Position positionPlusOne;  // 0 in a free slot, so that zeroed memory is an empty table
  };

  [[nodiscard]] std::size_t mask() const { return slots_.size() - 1; }

  // Puts `slot` into the first free place from that of its hash on.
  void put(const Slot& slot) {
    std::size_t at = slot.hash & mask();
    while (slots_[at].positionPlusOne != 0) at = (at + 1) & mask();
    slots_[at] = slot;
  }

  // Doubles the table and inserts all slots anew, as their places depend on its size.
  void grow() {
    std::vector<Slot> wider(2 * slots_.size());
    const std::span<const Slot> old = slots_;
    slots_ = wider;
    for (const Slot& slot : old) {
      if (slot.positionPlusOne != 0) put(slot);
    }
    heapSlots_ = std::move(wider);  // moving a vector moves no element: `slots_` stays valid
  }

  std::array<Slot, 64> inlineSlots_{};    // the first table, which needs no allocation
  std::vector<Slot> heapSlots_;           // the table once that is too small
  std::span<Slot> slots_ = inlineSlots_;  // the one in use; a power of two, at most half full
  std::size_t count_ = 0;
};

}  // namespace corvane
