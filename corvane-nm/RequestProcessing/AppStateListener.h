#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <utility>

#include "SharedComponents/RequestSignalling.h"

namespace corvane::RequestProcessing {

/// Takes the main application's `appState` signal over from its usual owner for a while, so that a
/// command which changes the state can wait for the announcement of its change, and hands it back.
/// Made once and never destroyed. Safe from any thread, but never from the queue on which
/// notification handlers run: that is where the signal comes from.
class AppStateListener {
 public:
  /// `signalling` must outlive this object; `limit` is the longest wait.
  AppStateListener(RequestSignalling& signalling, std::chrono::milliseconds limit);

  /// From now on the signal comes here. Its owner is remembered, one only: after two calls in a row
  /// that is this object, and the first owner does not get the signal back.
  void interceptAppStateListener();

  /// Gives the signal back to the owner that is remembered, once; without one it stays here.
  void returnAppStateListener();

  /// Waits for the signal, hands it back, and says whether it came. There is no memory: a signal
  /// before the wait wakes nobody. One signal wakes all who wait.
  bool waitAppStateNotificationAndReturnListener();

  /// The same as a part of the operation `function`, which the log line names.
  bool waitAndReturnListener(const char* function);

 private:
  void received();

  RequestSignalling& signalling_;
  const std::chrono::milliseconds limit_;

  std::mutex savedMutex_;             // guards the owner that is remembered
  RequestSignalling::Handler saved_;  // empty for none

  std::mutex mutex_;  // guards the count
  std::condition_variable signalCame_;
  std::uint64_t signals_ = 0;  // how many came here, ever
};

/// Intercepts the signal and hands it back when it is destroyed, unless `release` was called: so a
/// continuation that is destroyed uncalled leaves the signal with its usual owner. Movable; one
/// thread at a time. `listener` must outlive it.
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
