#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "Base/Result.h"

namespace corvane::Platform {

/// Waits until descriptors are ready: the system-dependent half of an EventLoop, which is its only
/// user. Level-triggered. Every operation except `wake` must be called on the thread that created
/// it; on macOS that must be the main thread.
class Poller {
 public:
  enum class Event { readable, writable };

  /// Ends the process (hardStop) if the system lacks the descriptors or memory that it needs.
  Poller();
  ~Poller();
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  /// From now on `wait` reports `id` while `event` holds for `descriptor`; end of input and errors
  /// count as both events. `id` is chosen by the caller, not 0, and must not have been used before.
  /// A descriptor may be watched under one id at a time and must stay open until `remove`. Fails if
  /// the system can't watch it, mostly for lack of memory; nothing is watched then.
  Result<Done> add(std::uint64_t id, int descriptor, Event event);

  /// Ends the watch `id`. A no-op if there is none.
  void remove(std::uint64_t id);

  /// Blocks until a descriptor is ready, `wake` is called, or `end` has passed, and appends the ids
  /// that are ready to `ready`. May return early without any. On macOS it may return late by the
  /// time that the machine sleeps meanwhile.
  void wait(std::chrono::steady_clock::time_point end, std::vector<std::uint64_t>& ready);

  /// Makes the running `wait` return, or the next one if none is running. Thread-safe.
  void wake();

 private:
  class Implementation;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
