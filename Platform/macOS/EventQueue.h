#pragma once

#include <memory>

#include "Base/UniqueFunction.h"

struct dispatch_queue_s;  // a queue of the system, as C++ sees it

namespace corvane::Platform {

/// A serial queue of the system's on which the process hears of events. Safe from any thread.
class EventQueue {
 public:
  /// `label` is what debuggers show.
  explicit EventQueue(const char* label);

  /// As `end`.
  ~EventQueue();
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;

  /// Queues `task`; nothing after `end`.
  void async(UniqueFunction<void()> task);

  /// Returns when what was queued before has run. Never from a task.
  void await();

  /// No task of `async` runs after the return. Never from a task.
  void end();

  /// Whether `end` was called.
  [[nodiscard]] bool isOver() const;

  /// The queue itself, which belongs to this object; used by C++ sources only.
  [[nodiscard]] dispatch_queue_s* queue() const { return queue_; }

 private:
  struct Call;
  struct Life;

  dispatch_queue_s* const queue_;
  const std::shared_ptr<Life> life_;
};

}  // namespace corvane::Platform
