#pragma once

#include <sanitizer/allocator_interface.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "Base/Bytes.h"

/// What the fuzzers share. They are built with the address sanitizer, which lets them count memory.
namespace corvane::fuzzing {

/// Ends the run with `promise` in the log unless it is kept.
inline void require(bool isKept, const char* promise) {
  if (isKept) return;
  std::fprintf(stderr, "Promise broken: %s\n", promise);
  std::abort();
}

inline ByteView bytesOf(const std::uint8_t* data, std::size_t size) {
  return std::as_bytes(std::span(data, size));
}

inline std::string_view textOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// While one lives, what the process holds on the heap, on any thread, may never exceed what it
/// held before by more than `limit` bytes. Exactly: each allocation counts. One at a time.
class MemoryBound {
 public:
  explicit MemoryBound(std::size_t limit) {
    static const int installed =
        __sanitizer_install_malloc_and_free_hooks(&MemoryBound::taken, &MemoryBound::given);
    require(installed > 0, "the sanitizer lets memory be counted");
    limit_ = held_ + static_cast<std::int64_t>(limit);
    most_ = held_.load();
  }
  // In the end, not where it is exceeded: libFuzzer too allocates, when a run takes too long.
  ~MemoryBound() { require(most_ <= limit_, "memory stays within its bound"); }
  MemoryBound(const MemoryBound&) = delete;
  MemoryBound& operator=(const MemoryBound&) = delete;

 private:
  static void taken(const volatile void* /*address*/, std::size_t size) {
    const auto bytes = static_cast<std::int64_t>(size);
    const std::int64_t held = held_.fetch_add(bytes) + bytes;
    std::int64_t most = most_;
    while (held > most && !most_.compare_exchange_weak(most, held)) continue;
  }
  static void given(const volatile void* address) {
    if (address != nullptr)
      held_ -= static_cast<std::int64_t>(
          __sanitizer_get_allocated_size(const_cast<const void*>(address)));
  }

  static inline std::atomic<std::int64_t> held_{0};
  static inline std::atomic<std::int64_t> most_{0};

  std::int64_t limit_ = 0;
};

}  // namespace corvane::fuzzing
