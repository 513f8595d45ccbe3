#pragma once

#include <thread>

#include "Platform/EventLoop.h"
#include "bench/Arrivals.h"

namespace corvane::bench {

/// A thread that turns an event loop of its own, with a `Subject` that lives there: made with the
/// loop and `arguments` before the constructor returns, destroyed after the last turn.
template <class Subject>
class LoopThread {
 public:
  template <class... Arguments>
  explicit LoopThread(Arguments&... arguments)
      : thread_([this, &arguments...] {
          Platform::EventLoop loop;
          Subject subject(loop, arguments...);
          loop_ = &loop;
          isMade_.come();
          loop.turnUntil(Platform::EventLoop::Clock::time_point::max());
          mayEnd_.await();
        }) {
    isMade_.await();
  }
  ~LoopThread() {
    loop_->post([loop = loop_] { loop->endTurn(); });
    mayEnd_.come();  // `post` has returned
    thread_.join();
  }
  LoopThread(const LoopThread&) = delete;
  LoopThread& operator=(const LoopThread&) = delete;

 private:
  Platform::EventLoop* loop_ = nullptr;  // the thread's
  Arrivals isMade_;
  Arrivals mayEnd_;
  std::thread thread_;
};

}  // namespace corvane::bench
