#include "Platform/macOS/AutoreleasePool.h"

// What every compiler of Objective-C calls for @autoreleasepool; part of its published interface to
// the run-time library, though in no header.
extern "C" void* objc_autoreleasePoolPush(void);
extern "C" void objc_autoreleasePoolPop(void* pool);

namespace corvane::Platform {

AutoreleasePool::AutoreleasePool() : pool_(objc_autoreleasePoolPush()) {}

AutoreleasePool::~AutoreleasePool() {
  objc_autoreleasePoolPop(pool_);
}

}  // namespace corvane::Platform
