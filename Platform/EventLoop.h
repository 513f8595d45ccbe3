#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Base/UniqueFunction.h"
#include "Platform/Clocks.h"
#include "Platform/Poller.h"

namespace corvane::Platform {

/// Runs everything a process does, one call at a time, on one thread: posted tasks in the order in
/// which they were posted, tasks whose deadline has passed, and the handlers of descriptors that
/// are ready. Tasks and handlers must not block; they run to completion and never interrupt each
/// other.
///
/// The thread that makes the loop owns it: every operation except `post` must be called there, and
/// `turnUntil` runs the tasks there. On macOS that must be the main thread, whose run loop it
/// turns. The loop must outlive its timers and watches, and every thread that posts to it. What has
/// not run when it is destroyed is destroyed uncalled.
class EventLoop {
  /// Identifies a timer or a watch; orders timers by their deadlines.
  using Key = std::pair<std::chrono::steady_clock::time_point, std::uint64_t>;

 public:
  using Clock = std::chrono::steady_clock;
  using Task = UniqueFunction<void()>;
  using Handler = UniqueFunction<void()>;

  /// How long to wait before something is tried again that the system refused for want of
  /// descriptors, memory or the like: short for people, long for a processor.
  static constexpr std::chrono::milliseconds retryPause{200};

  /// Cancels something of a loop when it is destroyed. Movable; an empty one does nothing.
  class Registration {
   public:
    Registration() = default;
    Registration(Registration&& other) noexcept { swap(other); }
    Registration& operator=(Registration&& other) noexcept {
      Registration(std::move(other)).swap(*this);
      return *this;
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() {
      if (loop_ != nullptr) loop_->cancel(key_);
    }

    /// Whether there is something to cancel, which may have happened already.
    explicit operator bool() const { return loop_ != nullptr; }

   private:
    friend class EventLoop;
    Registration(EventLoop& loop, Key key) : loop_(&loop), key_(key) {}
    void swap(Registration& other) noexcept {
      std::swap(loop_, other.loop_);
      std::swap(key_, other.key_);
    }

    EventLoop* loop_ = nullptr;
    Key key_;
  };

  /// Ends the process when the system lacks the descriptors that a loop needs.
  EventLoop();
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  /// Runs `task` on the loop after all tasks posted before. Thread-safe; never blocks. Wakes the
  /// loop up when called on another thread.
  void post(Task task);

  /// Runs `task` once, when `deadline` has passed on the monotonic clock, unless the result is
  /// destroyed before. Tasks with the same deadline run in the order of these calls.
  [[nodiscard]] Registration at(Clock::time_point deadline, Task task);

  /// Calls `handler` whenever `descriptor` can be read without blocking (data, end of input or an
  /// error), again and again until the result is destroyed; `onWritable` likewise for writing. At
  /// most one of the two per descriptor at a time. Regular files are always ready. The descriptor
  /// stays the caller's and must stay open as long as the result. The handler may destroy the
  /// result. While the system lacks the memory to watch the descriptor, the loop tries again every
  /// `retryPause`; a record in the system log says so.
  [[nodiscard]] Registration onReadable(int descriptor, Handler handler);
  [[nodiscard]] Registration onWritable(int descriptor, Handler handler);

  /// Runs the loop until `end`, or until `endTurn` ends it; then returns even if tasks are pending,
  /// which the next turn runs. Not reentrant.
  void turnUntil(Clock::time_point end);

  /// Ends the running turn, or the next one if none runs, when all tasks posted so far have run.
  void endTurn();

  /// The time by which deadlines are judged.
  [[nodiscard]] static Clock::time_point now() { return steadyNow(); }

 private:
  Registration watch(int descriptor, Poller::Event event, Handler handler);
  void cancel(const Key& key);
  void watchAgain();
  void takePostedElsewhere();
  bool runTasks(Clock::time_point end);
  void runTimers();
  void callHandlers();

  const std::thread::id thread_;
  Poller poller_;
  std::uint64_t lastId_ = 0;
  std::deque<Task> tasks_;
  std::map<Key, Task> timers_;
  std::map<std::uint64_t, std::shared_ptr<Handler>> handlers_;  // by the id of the watch
  std::vector<std::uint64_t> ready_;                            // kept for its memory
  struct Refused {
    std::uint64_t id;
    int descriptor;
    Poller::Event event;
  };
  std::vector<Refused> refused_;  // watches that the system could not begin yet
  Registration watchAgain_;
  bool turnEnds_ = false;

  std::mutex mutex_;  // guards what other threads posted
  std::vector<Task> postedElsewhere_;
};

}  // namespace corvane::Platform
