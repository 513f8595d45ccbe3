#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "simulation/RunContext.h"
#include "simulation/System/Kernel.h"

namespace corvane::Simulation {

/// Watches one host from its start to its end, and checks its promises about files, notifications
/// and time limits.
class HostMonitor {
 public:
  HostMonitor(RunContext& context, std::shared_ptr<Process> process);

  const std::shared_ptr<Process> process;

  // The events of a Watcher that concern this host.
  void opens(const std::string& name);
  void reads(const Inode& file);
  void cuts(const Inode& file, std::size_t size);
  void appended(std::string_view record);
  void receives(std::string_view text);
  void ended();
  /// The host has replied that no announcement came in time.
  void gaveUpAnnouncement() { mustHearSince_.reset(); }

  void hasStopped() { stoppedSince_ = context_.kernel.now(); }
  void continues();
  /// The clock was advanced by so much while no process could run.
  void leapt(std::chrono::nanoseconds by) { excused_ += by; }

  /// Restarts the measurement of how long the host has been waiting.
  void progresses() { lastProgress_ = mark(); }
  /// Checks that no wait has exceeded its limit. `isWaiting`: the host has requests to answer.
  void check(bool isWaiting);

  /// The host's first thread is about to block in `call`. Only `epoll_wait` is allowed,
  /// and `poll` after the end of input.
  void blocks(std::string_view call);

  /// Must be called when the browser closes the host's input.
  void inputEnds() { inputEnded_ = mark(); }

  /// Whether no reply to this host can be late, and none was injected: then each reply must be
  /// exactly the answer to its request.
  bool isStrict = true;
  bool hasFailed = false;  // one of its system calls has

  // Announcements of the state.
  std::uint64_t announced = 0;  // received
  std::uint64_t applicationEnds = 0;
  Time lastTaken;                 // when it last looked for a reply
  std::uint64_t expected = 0;     // made while this host listened and nothing disturbed
  std::uint64_t mustPush = 0;     // received while no command waited for one
  bool isCommandPending = false;  // one that waits for an announcement
  bool wasOverlapped = false;     // by a second one: pushes may have ended for good
  bool isListening = false;       // when the application was resumed last

  /// The name of its response file; empty until it has opened one.
  [[nodiscard]] const std::string& responses() const { return responses_; }
  /// Its client identifier, which is in that name and in its replies.
  [[nodiscard]] std::string identifier() const;

 private:
  enum class Exchange { none, waits, takes };

  /// A point in time, and how long the host had been stopped by then.
  struct Mark {
    Time at;
    std::chrono::nanoseconds excused;
  };
  [[nodiscard]] Mark mark() const { return {context_.kernel.now(), excused_}; }
  /// The time since `since`, without the time for which the host was stopped.
  [[nodiscard]] std::chrono::nanoseconds elapsed(const Mark& since) const {
    return context_.kernel.now() - since.at - (excused_ - since.excused);
  }

  RunContext& context_;
  std::string responses_;
  Exchange exchange_ = Exchange::none;
  bool isReplyHeard_ = false;
  Time replyHeard_;                    // when that was
  Time lastAnnounced_;                 // when an announcement was last received
  bool hasRead_ = false;               // its response file, since it opened that
  bool changesState_ = false;          // the request in flight
  std::optional<Mark> mustHearSince_;  // no exchange starts before the state is announced
  std::chrono::nanoseconds excused_{0};
  std::optional<Time> stoppedSince_;
  Mark began_{};
  Mark lastProgress_{};
  std::optional<Mark> inputEnded_;
};

}  // namespace corvane::Simulation
