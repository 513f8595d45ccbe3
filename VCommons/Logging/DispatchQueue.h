#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "Base/UniqueFunction.h"

namespace corvane {

/// A serial queue for work that must not block the event loop: runs tasks one at a time, in the
/// order in which they were added, whichever threads added them. `sync` runs its task on the
/// caller's thread; the queue's own thread starts with the first `async` and then stays. So a queue
/// that only `sync` uses has no thread. Thread-safe.
///
/// Tasks must not throw: on the queue's thread that would end the process. A task, and everything
/// that it owns, is destroyed before the next one starts.
class DispatchQueue {
 public:
  using Task = UniqueFunction<void()>;

  /// `label` names the queue and, shortened to what the system allows, its thread.
  explicit DispatchQueue(std::string label);

  /// Blocks until everything added has run. No other thread may use the queue any more. The queue
  /// of the process's log is never destroyed; this is for tests and for owners with a shorter life.
  ~DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;

  /// Adds `task` and returns at once. If the system starts no thread for the queue, a record in the
  /// system log says so, and this blocks and runs `task` like `sync`; inside a task of this queue
  /// it returns, and `task` runs on the thread that runs the task before it.
  void async(Task task);

  /// Blocks until everything added before has run, then runs `body` on the calling thread. Called
  /// inside a task of the same queue it could never return, so it ends the process, naming the
  /// queue.
  template <class F>
  void sync(F&& body) {
    const Turn turn(*this);
    body();
  }

  /// Blocks until everything added before this call has run, for at most `limit`. Returns whether
  /// it has. Returns false at once inside a task of this queue.
  bool drain(std::chrono::milliseconds limit);

  /// Whether the calling thread is inside a task of this queue.
  [[nodiscard]] bool isCurrent() const;

 private:
  /// The exclusive right to run a task, for a caller of `sync`. The constructor takes a number and
  /// blocks until all lower numbers are done; the destructor passes the right on.
  class Turn {
   public:
    explicit Turn(DispatchQueue& queue);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    DispatchQueue& queue_;
  };

  struct Item {
    std::uint64_t number;  // its place among all tasks, from 0
    Task task;
  };

  bool enqueue(Task& task);
  bool startWorker();
  void work();
  [[nodiscard]] bool isItemNext() const;
  void runItem(std::unique_lock<std::mutex>& lock);
  void finishTurn();

  const std::string label_;
  mutable std::mutex mutex_;  // guards all below
  std::condition_variable changed_;
  std::deque<Item> items_;       // of `async`, in order
  std::uint64_t added_ = 0;      // how many tasks were ever added, also by `sync`
  std::uint64_t completed_ = 0;  // how many of them have run
  std::thread::id runs_;         // the thread that runs a task now
  bool hasWorker_ = false;       // the queue's thread uses this object
  bool isFailureLogged_ = false;
  bool isEnding_ = false;
};

}  // namespace corvane
