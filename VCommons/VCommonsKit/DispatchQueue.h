#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "Base/UniqueFunction.h"
#include "Platform/Semaphore.h"

namespace corvane {

class DispatchQueue;

namespace detail {
/// One link in the chain of the queues whose tasks a thread is running: a task may `sync` on
/// another queue. Lives on that thread's stack.
class RunningOnQueue {
 public:
  explicit RunningOnQueue(const DispatchQueue& queue);
  ~RunningOnQueue();
  RunningOnQueue(const RunningOnQueue&) = delete;
  RunningOnQueue& operator=(const RunningOnQueue&) = delete;

  const DispatchQueue& queue;
  RunningOnQueue* const outer;
};
}  // namespace detail

/// A serial queue: tasks run one at a time, in the order in which they were handed over, whatever
/// threads they came from. The queue is an order, not a thread: `sync` runs on the caller's own
/// thread when its turn comes, and the queue's worker thread starts with the first `async`. All
/// operations are safe from any thread.
class DispatchQueue {
 public:
  using Task = UniqueFunction<void()>;

  /// `label` names the queue and, shortened to what the system allows, its thread.
  explicit DispatchQueue(std::string label);

  /// Waits until everything queued has run. Queues of the process are created once and never
  /// destroyed; this is for tests and for owners with a shorter life.
  ~DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;

  /// On an idle queue: until `resume`, tasks wait, and no thread is started for them. Who waits for
  /// the queue (`sync`, `drain`, the end of it) resumes it. For a start that has more urgent things
  /// to do.
  void suspend();
  void resume();

  /// Queues `task` and returns at once.
  void async(Task task);

  /// The same, without waking another thread when it can be helped: if this thread lends itself
  /// (LentThread) and the queue is idle, the queue's turn waits until this thread runs the task.
  /// For callers who return to that `LentThread` without waiting for anything.
  void asyncLent(Task task);

  /// Runs `body` on this thread after all that was queued before, and returns when it has run.
  /// Calling it from a task of this same queue can never succeed and ends the process with the
  /// queue's name.
  template <class F>
  void sync(F&& body) {
    const Turn turn(*this);
    const detail::RunningOnQueue running(*this);
    body();
  }

  /// Waits until everything queued before this call has run, but not longer than `limit`. True when
  /// it has. From a task of this queue it returns false at once.
  bool drain(std::chrono::milliseconds limit);

  /// True on the thread that is running a task of this queue right now.
  [[nodiscard]] bool isCurrent() const;

 private:
  /// Holds the queue for a caller of `sync`.
  class Turn {
   public:
    explicit Turn(DispatchQueue& queue);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    DispatchQueue& queue_;
  };

  friend class LentThread;

  struct Item {
    Task task;                                   // empty for a caller of `sync`
    Platform::Semaphore* callersTurn = nullptr;  // set for a caller of `sync`
  };

  bool queueAndTakeFreeTurn(Task task);
  void giveTurnToWorker();
  void work();
  void useTurn();
  void countRun();
  void passTurnOn();

  const std::string label_;
  std::thread worker_;               // for who has the turn
  Platform::Semaphore workersTurn_;  // posted with the turn, and at the end
  std::atomic<bool> isEnding_{false};

  std::mutex mutex_;                  // guards all below
  std::condition_variable progress_;  // one more has run
  std::deque<Item> items_;            // in order; what runs now has left it
  bool isSuspended_ = false;
  bool hasTurn_ = false;         // somebody runs what is queued, or was told to: one at a time
  int drainers_ = 0;             // how many wait for progress
  std::uint64_t submitted_ = 0;  // how many were ever queued, and how many of them have run
  std::uint64_t completed_ = 0;
};

}  // namespace corvane
