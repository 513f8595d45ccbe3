#pragma once

#include <utility>

#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"

namespace corvane::MainApp {

/// Calls a handler on the loop for SIGTERM and SIGINT of the real process, whatever SystemCalls are
/// in use. On the loop's thread.
class EndSignals {
 public:
  /// `loop` must outlive this object; it calls `handler` for each signal, from `start` on.
  EndSignals(Platform::EventLoop& loop, UniqueFunction<void()> handler)
      : loop_(loop), handler_(std::move(handler)) {}

  /// Takes the signals of the process over, to its end. False when the system provides no pipe for
  /// them. Once per process.
  bool start();

 private:
  Platform::EventLoop& loop_;
  UniqueFunction<void()> handler_;
  Platform::EventLoop::Registration readable_;
};

}  // namespace corvane::MainApp
