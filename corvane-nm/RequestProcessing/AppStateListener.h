#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

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

}  // namespace corvane::RequestProcessing
