#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>

#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"
#include "SharedComponents/Exchange/RequestSignalling.h"

namespace corvane::RequestProcessing {

/// Intercepts the main application's `appState` notification for a while, so that a command which
/// changes the state can wait for the announcement of its change; then returns the notification to
/// its usual handler. All functions and callbacks run on the loop's thread. Must not be called by a
/// handler of notifications: the registry of handlers can't be read there.
///
/// One handler is remembered, and waits are not nested: a second interception before the return
/// remembers this object's own handler in place of the usual one, which then stays replaced.
class AppStateListener {
 public:
  /// Called once, on the loop: with true if the notification came, with false if the limit passed.
  /// Destroyed uncalled if the listener is destroyed first.
  using Completion = UniqueFunction<void(bool)>;

  /// `loop` and `signalling` must outlive this object, and this object the loop's last turn.
  /// `limit` is the longest wait.
  AppStateListener(Platform::EventLoop& loop, RequestSignalling& signalling,
                   std::chrono::milliseconds limit);

  /// Remembers the present handler of `appState` and installs one that ends waits. Logs a trace.
  void interceptAppStateListener();

  /// Reinstalls the remembered handler and forgets it; a no-op if none is remembered. Logs a trace.
  void returnAppStateListener();

  /// Waits for the notification, reinstalls the remembered handler, and then calls `done`; returns
  /// at once. Notifications before this call do not count. One notification ends all waits.
  void waitAppStateNotificationAndReturnListener(Completion done);

  /// The same as a part of the operation `function`, the name in the log lines, which must be a
  /// literal.
  void waitAndReturnListener(const char* function, Completion done);

 private:
  struct Waiting {
    const char* function;
    Completion done;
    Platform::EventLoop::Registration limit = {};
  };

  void received();
  void finish(std::uint64_t number, bool isReceived);

  Platform::EventLoop& loop_;
  RequestSignalling& signalling_;
  const std::chrono::milliseconds limit_;
  RequestSignalling::Handler saved_;  // the remembered handler; empty: none
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, Waiting> waiting_;  // in the order in which they began
};

/// Intercepts the notification for a scope: returns it on destruction, unless `release` was called.
/// Owned by a continuation, it returns the notification even if the continuation is destroyed
/// uncalled. Movable, not copyable; empty after a move. `listener` must outlive it.
class AppStateInterception {
 public:
  /// Begins the interception.
  explicit AppStateInterception(AppStateListener& listener) : listener_(&listener) {
    listener.interceptAppStateListener();
  }
  AppStateInterception(AppStateInterception&& other) noexcept
      : listener_(std::exchange(other.listener_, nullptr)) {}
  AppStateInterception(const AppStateInterception&) = delete;
  AppStateInterception& operator=(const AppStateInterception&) = delete;
  AppStateInterception& operator=(AppStateInterception&&) = delete;
  ~AppStateInterception() {
    if (listener_ != nullptr) listener_->returnAppStateListener();
  }

  /// Leaves it to the caller to return the notification, for example after a wait.
  void release() { listener_ = nullptr; }

 private:
  AppStateListener* listener_;
};

}  // namespace corvane::RequestProcessing
