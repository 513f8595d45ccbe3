#include "Platform/macOS/ApplicationObservation.h"

#include <utility>

namespace corvane::Platform {

ApplicationObservation::ApplicationObservation(EventQueue& queue, Look look, Changed changed)
    : queue_(queue), look_(std::move(look)), changed_(std::move(changed)) {}

int ApplicationObservation::begin() {
  // Hearing comes before the first look: between the two nothing is missed.
  auto observer = std::make_unique<WorkspaceObserver>([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->lookAgain();
  });
  const std::lock_guard lock(mutex_);
  observer_ = std::move(observer);
  isWatching_ = true;
  instances_.update(look_(), [](int) {});
  return instances_.count();
}

/// On the main thread.
void ApplicationObservation::lookAgain() {
  const std::lock_guard lock(mutex_);
  if (!isWatching_) return;
  instances_.update(look_(), [this](int instances) {
    queue_.async([self = shared_from_this(), instances] { self->tell(instances); });
  });
}

/// On the queue.
void ApplicationObservation::tell(int instances) {
  {
    const std::lock_guard lock(mutex_);
    if (!isWatching_) return;
  }
  changed_(instances);
}

void ApplicationObservation::stop() {
  std::unique_ptr<WorkspaceObserver> observer;
  {
    const std::lock_guard lock(mutex_);
    isWatching_ = false;
    observer = std::move(observer_);
  }
  observer.reset();
  queue_.await();
}

}  // namespace corvane::Platform
