#pragma once

#include <deque>

#include "VCommons/VCommonsKit/DispatchQueue.h"

namespace corvane {

/// While one lives on a thread's stack, that thread lends itself to serial queues: a task that it
/// hands to an idle queue with `DispatchQueue::asyncLent` waits here, together with the queue's
/// turn, until the thread runs it. Waking another thread costs more than most tasks do. At most one
/// on a thread, used on that thread alone; what it has not run, it runs when it ends.
class LentThread {
 public:
  LentThread();
  ~LentThread();
  LentThread(const LentThread&) = delete;
  LentThread& operator=(const LentThread&) = delete;

  /// The one of the calling thread, or null.
  static LentThread* current();

  [[nodiscard]] bool hasTurn() const { return !turns_.empty(); }

  /// Uses the first turn that waits here, if any: runs what is in its queue, which is one task
  /// unless others were queued meanwhile. Turns that these leave on this thread wait here next.
  void useTurn();

  /// Leaves the turns that wait here to the queues' own threads.
  void passTurnsOn();

 private:
  friend class DispatchQueue;

  std::deque<DispatchQueue*> turns_;
};

}  // namespace corvane
