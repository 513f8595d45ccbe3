#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace corvane {

/// Lets the process end between two appends and not in the midst of one. Safe from any thread.
class AppendGate {
 public:
  /// One append that is under way, or one that may not begin any more.
  class Pass {
   public:
    explicit Pass(AppendGate& gate) : gate_(gate), isOpen_(gate.enter()) {}
    ~Pass() {
      if (isOpen_) gate_.leave();
    }
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

    explicit operator bool() const { return isOpen_; }

   private:
    AppendGate& gate_;
    const bool isOpen_;
  };

  /// From now on no append begins. Waits for those under way, not longer than `limit`; true when
  /// none is left.
  bool close(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    isClosed_ = true;
    return nobodyIsInside_.wait_for(lock, limit, [this] { return inside_ == 0; });
  }

 private:
  bool enter() {
    const std::lock_guard lock(mutex_);
    if (!isClosed_) ++inside_;
    return !isClosed_;
  }
  void leave() {
    const std::lock_guard lock(mutex_);
    if (--inside_ == 0 && isClosed_) nobodyIsInside_.notify_all();
  }

  std::mutex mutex_;  // guards all below
  std::condition_variable nobodyIsInside_;
  int inside_ = 0;
  bool isClosed_ = false;
};

}  // namespace corvane
