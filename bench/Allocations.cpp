// Counts in front of the allocator of the C library.

#include "bench/Allocations.h"

#include <cstddef>

namespace {
thread_local std::uint64_t count = 0;
}

extern "C" {
// The allocator under the names that the C library gives it for this purpose.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

void* malloc(std::size_t size) {
  ++count;
  return __libc_malloc(size);
}
void* calloc(std::size_t number, std::size_t size) {
  ++count;
  return __libc_calloc(number, size);
}
void* realloc(void* memory, std::size_t size) {
  ++count;
  return __libc_realloc(memory, size);
}
}

std::uint64_t corvane::bench::allocations() {
  return count;
}
