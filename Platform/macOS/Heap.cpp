#include "Platform/Heap.h"

#include <malloc/malloc.h>

namespace corvane::Platform {

/// Here no thread has a heap of its own anyway.
void shareOneHeap() {}

void returnFreeMemory() {
  ::malloc_zone_pressure_relief(nullptr, 0);
}

}  // namespace corvane::Platform
