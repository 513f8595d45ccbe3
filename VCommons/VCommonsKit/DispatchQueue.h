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

/// A serial queue for work that must not hold up the event loop: tasks run one at a time, in the
/// order in which they were added, whichever threads they came from. It is an order, not a thread:
/// `sync` runs on the caller's own thread, and the queue's thread starts with the first `async`.
/// Thread-safe.
class DispatchQueue {
 public:
  using Task = UniqueFunction<void()>;

  /// `label` names the queue and, shortened to what the system allows, its thread.
  explicit DispatchQueue(std::string label);

  /// Blocks until everything added has run. Queues of the process are created once and never
  /// destroyed; this is for tests and for owners with a shorter life.
  ~DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;

  /// Adds `task` and returns at once. While the system starts no thread for the queue, which the
  /// system log says, it runs `task` like `sync` instead; a task of this queue that calls it has it
  /// run at the end of its turn.
  void async(Task task);

  /// Blocks until all that was added before has run, then runs `body` on the calling thread.
  /// Calling it from a task of the same queue could never return and ends the process with the
  /// queue's name.
  template <class F>
  void sync(F&& body) {
    const Turn turn(*this);
    body();
  }

  /// Blocks until everything added before this call has run, for at most `limit`. True when it
  /// has. False at once when called from a task of this queue.
  bool drain(std::chrono::milliseconds limit);

  /// True on the thread that is running a task of this queue right now.
  [[nodiscard]] bool isCurrent() const;

 private:
  /// The exclusive right to run a task: for the one with the next number.
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
    std::uint64_t number;
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
