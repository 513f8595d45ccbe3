#pragma once

#include <memory>
#include <utility>

#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// A launch whose outcome is not known yet. Calls its answer once: with the outcome, or with false
/// after TimeLimits::appState. Its timer owns it until then; others may share it. All on the loop's
/// thread.
class PendingLaunch : public std::enable_shared_from_this<PendingLaunch> {
 public:
  using Answer = UniqueFunction<void(bool isStarted)>;

  /// The limit counts from now. `loop` must outlive the result.
  static std::shared_ptr<PendingLaunch> begin(EventLoop& loop, Answer answer);

  /// Keeps `watch`, by which the outcome will be known, until the answer.
  void keep(EventLoop::Registration watch) { watch_ = std::move(watch); }

  /// Answers now. Must not be called after the answer.
  void finish(bool isStarted);

  /// Answers from a timer of the loop that is due now, for callers that the loop does not call.
  /// Must not be called after the answer either.
  void finishSoon(bool isStarted);

 private:
  PendingLaunch(EventLoop& loop, Answer answer) : loop_(loop), answer_(std::move(answer)) {}
  void finishAt(EventLoop::Clock::time_point time, bool isStarted);

  EventLoop& loop_;
  Answer answer_;
  EventLoop::Registration timer_;
  EventLoop::Registration watch_;
};

}  // namespace corvane::Platform
