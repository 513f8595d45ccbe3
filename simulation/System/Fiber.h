#pragma once

#include <boost/context/fiber.hpp>
#include <functional>
#include <memory>

namespace corvane::Simulation {

/// Code with a stack of its own, which runs until it suspends itself. All fibers run on one thread,
/// one at a time.
class Fiber {
 public:
  explicit Fiber(std::function<void()> body);
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;
  /// If the body has not ended, it never continues and its destructors never run: what its stack
  /// owns leaks, as when a process is killed.
  ~Fiber();

  /// Starts or continues the body; returns when it suspends or ends.
  void resume();

  [[nodiscard]] bool hasEnded() const { return !*context_; }

  /// Returns to the caller of `resume`. Must be called on a fiber.
  static void suspend();

 private:
  std::unique_ptr<boost::context::fiber> context_;
  const void* stackBottom_;
};

}  // namespace corvane::Simulation
