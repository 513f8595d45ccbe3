#pragma once

#include <chrono>

#include "Platform/EventLoop.h"

namespace corvane::testing {

/// How long a test waits for what must happen.
constexpr std::chrono::seconds patience(60);

/// Turns `loop` in short slices until `condition` holds or patience is at an end; returns whether
/// it holds.
template <class Condition>
bool turnUntil(Platform::EventLoop& loop, Condition condition) {
  using Platform::EventLoop;
  const auto end = EventLoop::now() + patience;
  while (EventLoop::now() < end) {
    if (condition()) return true;
    loop.turnUntil(EventLoop::now() + std::chrono::milliseconds(1));
  }
  return false;
}

/// Turns `loop` until nothing is left to do at once: no posted task, no ready descriptor. For tests
/// that something does not happen.
inline void turnThrough(Platform::EventLoop& loop) {
  constexpr int longestChain = 10;  // of tasks and handlers that cause each other
  for (int i = 0; i < longestChain; ++i) loop.turnUntil(Platform::EventLoop::now());
}

}  // namespace corvane::testing
