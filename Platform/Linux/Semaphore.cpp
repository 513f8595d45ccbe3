#include "Platform/Semaphore.h"

#include <semaphore.h>

#include <cerrno>
#include <ctime>

namespace corvane::Platform {

struct Semaphore::Implementation {
  sem_t semaphore;
};

Semaphore::Semaphore() : implementation_(std::make_unique<Implementation>()) {
  ::sem_init(&implementation_->semaphore, 0, 0);
}

Semaphore::~Semaphore() {
  ::sem_destroy(&implementation_->semaphore);
}

void Semaphore::post() {
  ::sem_post(&implementation_->semaphore);
}

void Semaphore::wait() {
  while (::sem_wait(&implementation_->semaphore) != 0) continue;  // a signal came between
}

bool Semaphore::waitUntil(std::chrono::steady_clock::time_point end) {
  using std::chrono::nanoseconds;
  const auto whole = std::chrono::time_point_cast<std::chrono::seconds>(end);
  timespec time = {};
  time.tv_sec = static_cast<std::time_t>(whole.time_since_epoch().count());
  time.tv_nsec = static_cast<long>(std::chrono::duration_cast<nanoseconds>(end - whole).count());
  while (::sem_clockwait(&implementation_->semaphore, CLOCK_MONOTONIC, &time) != 0) {
    if (errno != EINTR) return false;
  }
  return true;
}

}  // namespace corvane::Platform
