#pragma once

#include <deque>
#include <string>
#include <utility>

#include "Platform/EventLoop.h"

namespace corvane {

/// Runs tasks one at a time on an event loop, in the order in which they were added; starts none
/// while a `Hold` exists. Replaces a serial queue with a thread of its own.
///
/// A task that goes on after it has returned (it waits for a reply, for a signal) takes a `Hold`
/// and keeps it until it is done. On the loop's thread. The order must outlive its holds, and the
/// loop's last turn.
class SerialOrder {
 public:
  using Task = Platform::EventLoop::Task;

  /// While it exists, nothing of the order starts. Movable, so that a continuation can own it;
  /// several may exist at a time.
  class [[nodiscard]] Hold {
   public:
    Hold() = default;
    Hold(Hold&& other) noexcept : order_(std::exchange(other.order_, nullptr)) {}
    Hold& operator=(Hold&& other) noexcept {
      std::swap(order_, other.order_);
      return *this;
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;
    ~Hold() {
      if (order_ != nullptr) order_->release();
    }

   private:
    friend class SerialOrder;
    explicit Hold(SerialOrder& order) : order_(&order) {}

    SerialOrder* order_ = nullptr;
  };

  /// `loop` must outlive this object. `label` names the order in a hard stop.
  SerialOrder(Platform::EventLoop& loop, std::string label);
  SerialOrder(const SerialOrder&) = delete;
  SerialOrder& operator=(const SerialOrder&) = delete;
  ~SerialOrder() = default;

  /// Adds `task` to the order; it starts later, on the loop.
  void async(Task task);

  /// Runs all tasks that were added before, then `body`, and returns. Ends the process with the
  /// order's name when it is called by one of its own tasks, or while the order is held: there the
  /// call could never return.
  template <class F>
  void sync(F&& body) {
    runAll();
    const Running running(*this);
    body();
  }

  /// Whether tasks have been added that have not started.
  [[nodiscard]] bool hasTasks() const { return !tasks_.empty(); }

  /// Keeps tasks from starting until the result is destroyed.
  Hold hold();

 private:
  /// Marks the order while one of its tasks runs.
  class Running {
   public:
    explicit Running(SerialOrder& order) : order_(order) { order.isRunning_ = true; }
    ~Running() { order_.isRunning_ = false; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

   private:
    SerialOrder& order_;
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
  bool isPosted_ = false;  // a turn of the loop that starts tasks
};

}  // namespace corvane
