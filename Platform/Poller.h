#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Result.h"

namespace corvane::Platform {

/// Waits for many descriptors at a time: the system's half of an EventLoop. Every operation except
/// `wake` belongs to the thread that made it; on macOS that is the main thread.
class Poller {
 public:
  enum class Event { readable, writable };

  /// Ends the process when the system lacks the descriptors that it needs.
  Poller();
  ~Poller();
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  /// From now on `wait` reports `id` while `event` holds for `descriptor`; the end of input and
  /// errors count as both. `id` is new; `descriptor` is watched under one id at a time and must
  /// stay open until `remove`. Fails when the system can't watch it.
  Result<Done> add(std::uint64_t id, int descriptor, Event event);

  /// Ends what `add` began under `id`.
  void remove(std::uint64_t id);

  /// Waits until something is ready, `wake` was called, or `end` has passed, and appends the ids
  /// that are ready to `ready`. May return early; on macOS late by what the machine sleeps
  /// meanwhile.
  void wait(std::chrono::steady_clock::time_point end, std::vector<std::uint64_t>& ready);

  /// Ends the `wait` that runs, or the next one. Thread-safe.
  void wake();

 private:
  class Implementation;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
