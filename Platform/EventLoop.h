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

/// Platform/ is the only place that talks to the operating system: one header for each service,
/// with the same contract on every system, or with the difference stated in the header. This is the
/// service on which the others build.
///
/// An event loop runs everything a process does on one thread, one call at a time: posted tasks in
/// the order of posting, timers whose deadline has passed, and handlers of descriptors that are
/// ready. Tasks and handlers run to completion and never interrupt each other, so objects that are
/// used only on the loop need no locks. They must not block, as nothing else runs meanwhile.
///
/// The thread that creates the loop owns it: every operation except `post` must be called there,
/// and callbacks run there, inside `turnUntil`. On macOS that must be the main thread, whose run
/// loop is used. Callbacks may call any operation except `turnUntil`, and must not throw.
///
/// The loop owns tasks and handlers and destroys them on its thread: a task after it has run, both
/// when they are cancelled, and those left over, uncalled, with the loop itself. The loop must
/// outlive every Registration and every thread that posts to it.
class EventLoop {
  /// Identifies a timer or a watch; orders timers by their deadlines.
  using Key = std::pair<std::chrono::steady_clock::time_point, std::uint64_t>;

 public:
  using Clock = std::chrono::steady_clock;
  using Task = UniqueFunction<void()>;
  using Handler = UniqueFunction<void()>;

  /// How long to wait before retrying what the system refused for lack of descriptors, memory or
  /// the like: too short for a person to notice, and long enough not to burden the processor.
  static constexpr std::chrono::milliseconds retryPause{200};

  /// Owns a timer or a watch: cancels it on destruction or when another one is assigned. After that
  /// the task or handler is not called any more and has been destroyed, except that a handler which
  /// destroys its own registration still runs to its end. Movable; a default-constructed or
  /// moved-from one is empty. Must be destroyed on the loop's thread, before the loop.
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

    /// False if empty. Stays true after a timer has fired.
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

  /// The calling thread becomes the loop's thread. Ends the process (hardStop) if the system lacks
  /// the descriptors or memory that a loop needs.
  EventLoop();
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  /// Runs `task` on the loop after all tasks posted before by the same thread; never inside this
  /// call, even on the loop's thread. Thread-safe; blocks no longer than for a short lock. Wakes up
  /// the loop if another thread calls it.
  void post(Task task);

  /// Runs `task` once, as soon as possible after `deadline` on the monotonic clock, unless the
  /// returned registration is destroyed first. Never inside this call, even if `deadline` has
  /// passed. Tasks run in the order of their deadlines, those with the same deadline in the order
  /// of calls.
  [[nodiscard]] Registration at(Clock::time_point deadline, Task task);

  /// Calls `handler` whenever a read from `descriptor` (`onWritable`: a write to it) would not
  /// block, because of data or room, end of input or an error. Level-triggered: it is called again
  /// in each iteration until the condition is gone or the returned registration is destroyed, which
  /// the handler itself may do. Regular files are always ready.
  ///
  /// A descriptor can have only one watch at a time, for reading or for writing. It stays the
  /// caller's and must stay open as long as the registration exists. If the system lacks memory for
  /// the watch, the loop writes that to the system log and retries every `retryPause`.
  [[nodiscard]] Registration onReadable(int descriptor, Handler handler);
  [[nodiscard]] Registration onWritable(int descriptor, Handler handler);

  /// Runs the loop until `end` has passed or `endTurn` takes effect: one turn. Blocks while there
  /// is nothing to do. Tasks that are still pending on return run in the next turn. Must not be
  /// called from a task or handler.
  void turnUntil(Clock::time_point end);

  /// Ends the running turn, or the next one if none is running, as soon as all tasks posted so far
  /// have run.
  void endTurn();

  /// The present time on the clock of the deadlines. Thread-safe.
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
  std::map<Key, Task> timers_;                                  // in the order of firing
  std::map<std::uint64_t, std::shared_ptr<Handler>> handlers_;  // by the id of the watch
  std::vector<std::uint64_t> ready_;                            // a member to reuse its memory
  struct Refused {
    std::uint64_t id;
    int descriptor;
    Poller::Event event;
  };
  std::vector<Refused> refused_;  // watches that the system could not begin yet
  Registration watchAgain_;
  bool turnEnds_ = false;  // the running turn returns after the present task

  std::mutex mutex_;                   // guards `postedElsewhere_` only
  std::vector<Task> postedElsewhere_;  // by other threads, not yet in `tasks_`
};

}  // namespace corvane::Platform
