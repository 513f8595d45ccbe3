#include "Platform/Heap.h"

#include <malloc.h>

#include <cstddef>

namespace corvane::Platform {
namespace {

/// In bytes. Ordinary messages never leave so much free memory.
constexpr std::size_t trimThreshold = std::size_t{2} << 20;

/// Bytes that stay free, so that the next messages need no system call.
constexpr std::size_t kept = std::size_t{512} << 10;

}  // namespace

void shareOneHeap() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet
  ::mallopt(M_ARENA_MAX, 1);
}

void returnFreeMemory() {
  if (::mallinfo2().fordblks > trimThreshold) ::malloc_trim(kept);
}

}  // namespace corvane::Platform
