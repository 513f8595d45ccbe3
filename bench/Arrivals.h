#pragma once

#include <condition_variable>
#include <mutex>

namespace corvane::bench {

/// Lets one thread wait for what happens on others: each `await` is for one `come`.
class Arrivals {
 public:
  void come() {
    {
      const std::lock_guard lock(mutex_);
      ++count_;
    }
    came_.notify_one();
  }
  void await() {
    std::unique_lock lock(mutex_);
    came_.wait(lock, [this] { return count_ > 0; });
    --count_;
  }

 private:
  std::mutex mutex_;  // guards the count
  std::condition_variable came_;
  int count_ = 0;
};

}  // namespace corvane::bench
