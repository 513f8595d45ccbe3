#pragma once

#include <deque>
#include <string>
#include <utility>

#include "Platform/EventLoop.h"

namespace corvane {

/// A serial queue on an event loop, without a thread of its own: runs tasks one at a time, in the
/// order in which they were added, and starts none while a `Hold` exists. All operations, and the
/// destruction of holds, belong to the loop's thread; none blocks on another thread.
///
/// A task runs to its end unless it needs to wait, for a reply or a signal: then it takes a `Hold`,
/// moves it into the continuation, and returns. The queue goes on when the continuation destroys
/// the hold, whether or not it was called.
///
/// The queue must outlive its holds and the loop's last turn, because it posts to the loop. Tasks
/// that have not started by then are destroyed uncalled.
class SerialQueue {
 public:
  using Task = Platform::EventLoop::Task;

  /// Keeps the queue from starting tasks as long as it exists. Movable, so that a continuation can
  /// own it; empty after a move. Several may exist: the queue goes on when the last is destroyed.
  class [[nodiscard]] Hold {
   public:
    Hold() = default;
    Hold(Hold&& other) noexcept : queue_(std::exchange(other.queue_, nullptr)) {}
    Hold& operator=(Hold&& other) noexcept {
      std::swap(queue_, other.queue_);
      return *this;
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    ~Hold() {
      if (queue_ != nullptr) queue_->release();
    }

   private:
    friend class SerialQueue;
    explicit Hold(SerialQueue& queue) : queue_(&queue) {}

    SerialQueue* queue_ = nullptr;
  };

  /// `loop` must outlive this object. `label` names the queue in a hard stop.
  SerialQueue(Platform::EventLoop& loop, std::string label);
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;
  ~SerialQueue() = default;

  /// Adds `task` at the end. It never starts inside this call, but later, on the loop.
  void async(Task task);

  /// Runs all tasks that were added before, then `body`, and returns. Ends the process, naming the
  /// queue, if called by one of the queue's own tasks or while the queue is held (or a task run
  /// here takes a hold), because the call could never return.
  template <class F>
  void sync(F&& body) {
    runAll();
    const Running running(*this);
    body();
  }

  /// Whether there are tasks that have not started.
  [[nodiscard]] bool hasTasks() const { return !tasks_.empty(); }

  /// Keeps tasks from starting until the result is destroyed. A running task is not affected.
  Hold hold();

 private:
  /// Marks the queue as running a task, to detect a `sync` inside one.
  class Running {
   public:
    explicit Running(SerialQueue& queue) : queue_(queue) { queue.isRunning_ = true; }
    ~Running() { queue_.isRunning_ = false; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

   private:
    SerialQueue& queue_;
  };

  void postStart();
  void startAll();
  void startOne();
  void runAll();
  void release();

  Platform::EventLoop& loop_;
  const std::string label_;
  std::deque<Task> tasks_;  // not started yet
  int holds_ = 0;
  bool isRunning_ = false;
  bool isPosted_ = false;  // `startAll` is posted to the loop
};

}  // namespace corvane
