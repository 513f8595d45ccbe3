#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>

#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"
#include "SharedComponents/RequestSignalling.h"

namespace corvane::RequestProcessing {

/// Takes the main application's `appState` signal over from its usual owner for a while, so that a
/// command which changes the state can wait for the announcement of its change, and hands it back.
/// On the loop's thread, but not from a handler of notifications.
class AppStateListener {
 public:
  /// Called once: with true when the signal came, with false when the limit passed.
  using Completion = UniqueFunction<void(bool)>;

  /// `loop` and `signalling` must outlive this object; `limit` is the longest wait.
  AppStateListener(Platform::EventLoop& loop, RequestSignalling& signalling,
                   std::chrono::milliseconds limit);

  /// From now on the signal comes here. Its owner is remembered, one only: after two calls in a row
  /// that is this object, and the first owner does not get the signal back.
  void interceptAppStateListener();

  /// Gives the signal back to the owner that is remembered, once; without one it stays here.
  void returnAppStateListener();

  /// Waits for the signal, hands it back, and then calls `done`. There is no memory: a signal
  /// before this call ends no wait. One signal ends all waits.
  void waitAppStateNotificationAndReturnListener(Completion done);

  /// The same as a part of the operation `function`, which the log line names; the string must
  /// outlive the wait.
  void waitAndReturnListener(const char* function, Completion done);

 private:
  struct Waiting {
    const char* function;
    Completion done;
    Platform::EventLoop::Registration limit = {};
  };

  void received();
  void finish(std::uint64_t number, bool came);

  Platform::EventLoop& loop_;
  RequestSignalling& signalling_;
  const std::chrono::milliseconds limit_;
  RequestSignalling::Handler saved_;  // empty for none
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, Waiting> waiting_;  // in the order in which they began
};

/// Intercepts the signal and hands it back when it is destroyed, unless `release` was called: so a
/// continuation that is destroyed uncalled leaves the signal with its usual owner. Movable.
/// `listener` must outlive it.
class AppStateInterception {
 public:
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

  /// From now on the caller hands the signal back.
  void release() { listener_ = nullptr; }

 private:
  AppStateListener* listener_;
};

}  // namespace corvane::RequestProcessing
