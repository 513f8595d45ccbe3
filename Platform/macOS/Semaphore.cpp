#include "Platform/Semaphore.h"

#include <dispatch/dispatch.h>

#include <algorithm>

namespace corvane::Platform {

struct Semaphore::Implementation {
  const dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
};

Semaphore::Semaphore() : implementation_(std::make_unique<Implementation>()) {}

Semaphore::~Semaphore() {
  dispatch_release(implementation_->semaphore);
}

void Semaphore::post() {
  dispatch_semaphore_signal(implementation_->semaphore);
}

void Semaphore::wait() {
  dispatch_semaphore_wait(implementation_->semaphore, DISPATCH_TIME_FOREVER);
}

bool Semaphore::waitUntil(std::chrono::steady_clock::time_point end) {
  using std::chrono::nanoseconds;
  using std::chrono::steady_clock;
  // The system's waits are counted by another clock than ours, which also counts sleep.
  for (;;) {
    const nanoseconds left = std::max<nanoseconds>(end - steady_clock::now(), nanoseconds{0});
    const dispatch_time_t limit = dispatch_time(DISPATCH_TIME_NOW, left.count());
    if (dispatch_semaphore_wait(implementation_->semaphore, limit) == 0) return true;
    if (steady_clock::now() >= end) return false;
  }
}

}  // namespace corvane::Platform
