#include "Platform/Heap.h"

#include <malloc.h>

namespace corvane::Platform {

void shareOneHeap() {
  ::mallopt(M_ARENA_MAX, 1);
}

}  // namespace corvane::Platform
