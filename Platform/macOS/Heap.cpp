#include "Platform/Heap.h"

namespace corvane::Platform {

/// Here no thread has a heap of its own anyway.
void shareOneHeap() {}

}  // namespace corvane::Platform
