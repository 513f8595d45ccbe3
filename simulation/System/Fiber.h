#pragma once

#include <boost/context/fiber.hpp>
#include <functional>
#include <memory>

namespace corvane::Simulation {

/// A stack of its own on which code runs until it suspends itself. All fibers belong to one thread,
/// and one of them runs at a time.
class Fiber {
 public:
  explicit Fiber(std::function<void()> body);
  Fiber(const Fiber&) = delete;
  Fiber& operator=(const Fiber&) = delete;
  /// Abandons what has not ended: it never runs again, not even its destructors. What its stack
  /// owned is lost, as with a process that is killed.
  ~Fiber();

  /// Runs the body, from its start or from where it suspended, until it suspends or ends.
  void resume();

  [[nodiscard]] bool hasEnded() const { return !*context_; }

  /// From within a fiber: back to who resumed it.
  static void suspend();

 private:
  std::unique_ptr<boost::context::fiber> context_;
  const void* stackBottom_;
};

}  // namespace corvane::Simulation
