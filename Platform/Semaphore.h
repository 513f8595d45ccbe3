#pragma once

#include <chrono>
#include <memory>

namespace corvane::Platform {

/// A counting semaphore, beginning at 0. Waking a thread with it costs that thread one system call
/// and the poster one, a post that nobody waits for none: a condition variable takes its mutex
/// again after each wake-up, which costs both more. All operations are safe from any thread; what
/// happened before a post is seen after the wait that it ends.
class Semaphore {
 public:
  Semaphore();
  ~Semaphore();  ///< nobody may be waiting
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  /// Adds one; wakes one of those that wait.
  void post();

  /// Takes one, waiting until there is one.
  void wait();

  /// Takes one, waiting until `end` at most. True when it took one.
  bool waitUntil(std::chrono::steady_clock::time_point end);

 private:
  struct Implementation;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
