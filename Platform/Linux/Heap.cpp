#include "Platform/Heap.h"

#include <malloc.h>

#include <cstddef>

namespace corvane::Platform {
namespace {

/// More than the host ever needs for ordinary messages, in bytes.
constexpr std::size_t much = std::size_t{2} << 20;

}  // namespace

void shareOneHeap() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet
  ::mallopt(M_ARENA_MAX, 1);
}

void giveBackFreeMemory() {
  if (::mallinfo2().fordblks > much) ::malloc_trim(much / 4);
}

}  // namespace corvane::Platform
