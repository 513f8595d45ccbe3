#pragma once

#include <map>

#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"

namespace corvane::MainApp {

using Clock = Platform::EventLoop::Clock;

/// Announces the application's state to the hosts: posts `appState`. A host that misses the
/// announcement it waits for stands still for 300 s, and it listens only from a moment on that
/// nobody outside knows; so announcements keep a distance from what set the host waiting. On the
/// loop's thread.
class Announcer {
 public:
  /// `center` and `loop` must outlive this object.
  Announcer(Platform::NotificationCenter& center, Platform::EventLoop& loop)
      : center_(center), loop_(loop) {}

  /// The application has been started at `start`, perhaps by a host: 500 ms from then.
  void started(Clock::time_point start);

  /// A change that no request asked for: at once.
  void changedHere();

  /// A change that a request asked for, of which the reply has just been posted: in 200 ms, and
  /// once more 2 s later.
  void changedByRequest();

  /// How many announcements there have been.
  [[nodiscard]] int count() const { return count_; }

  /// The last thing before the application ends: an announcement that is still due is made, after
  /// no more than 500 ms: no first announcement is due later than that.
  void finish();

 private:
  void plan(Clock::time_point earliest);
  void announce();

  Platform::NotificationCenter& center_;
  Platform::EventLoop& loop_;
  std::map<Clock::time_point, Platform::EventLoop::Registration> planned_;  // by when they are due
  int count_ = 0;
};

}  // namespace corvane::MainApp
