#include "Platform/Heap.h"

#include <malloc.h>

namespace corvane::Platform {

void shareOneHeap() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs yet
  ::mallopt(M_ARENA_MAX, 1);
}

}  // namespace corvane::Platform
