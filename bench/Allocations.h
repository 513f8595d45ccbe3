#pragma once

#include <cstdint>

namespace corvane::bench {

/// How often this thread has asked for memory so far, by malloc and what is made of it: `new`,
/// calloc and realloc too.
std::uint64_t allocations();

}  // namespace corvane::bench
