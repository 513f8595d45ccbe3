#include "Platform/Posix/PendingLaunch.h"

#include "Base/TimeLimits.h"

namespace corvane::Platform {

std::shared_ptr<PendingLaunch> PendingLaunch::begin(EventLoop& loop, Answer answer) {
  std::shared_ptr<PendingLaunch> launch(new PendingLaunch(loop, std::move(answer)));
  launch->finishAt(EventLoop::now() + TimeLimits::appState, false);
  return launch;
}

void PendingLaunch::finish(bool isStarted) {
  watch_ = {};
  timer_ = {};
  answer_(isStarted);
}

void PendingLaunch::finishSoon(bool isStarted) {
  finishAt(EventLoop::now(), isStarted);
}

/// In place of the time set before.
void PendingLaunch::finishAt(EventLoop::Clock::time_point time, bool isStarted) {
  timer_ = loop_.at(time, [self = shared_from_this(), isStarted] { self->finish(isStarted); });
}

}  // namespace corvane::Platform
