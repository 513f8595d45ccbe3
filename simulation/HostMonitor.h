#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

#include "simulation/RunContext.h"
#include "simulation/System/Kernel.h"

namespace corvane::Simulation {

/// One host from its start to its end, and whether it keeps its promises about files, notifications
/// and time.
class HostMonitor {
 public:
  HostMonitor(RunContext& context, std::shared_ptr<Process> process);

  const std::shared_ptr<Process> process;

  // What the process does, from a Watcher.
  void opens(const std::string& name);
  void reads(const Inode& file);
  void cuts(const Inode& file, std::size_t size);
  void appended(std::string_view record);
  void receives(std::string_view text);
  void ended();
  void applicationEnded() {
    ++applicationEnds;
    wasExchangingAtEnd = exchange_ == Exchange::waits;
  }

  void hasStopped() { stoppedSince_ = context_.kernel.now(); }
  void continues();
  /// The clock was moved on by so much while nothing ran.
  void leapt(std::chrono::nanoseconds by) { excused_ += by; }

  /// Something that the host was waiting for has come about.
  void progresses() { lastProgress_ = mark(); }
  /// Complains if the host has waited for longer than any limit allows; `isWaiting`: it has a
  /// request to answer.
  void check(bool isWaiting);

  /// The first thread of a host never waits for anything but the event loop's next event.
  void blocks(std::string_view call);

  /// Input has ended.
  void inputEnds() { inputEnded_ = mark(); }

  /// Whether replies are exactly as they should be: nothing has come too late, and nothing was done
  /// to this host in particular.
  bool isStrict = true;
  bool hasFailed = false;  // one of its calls has

  // Announcements of the state.
  std::uint64_t announced = 0;  // received
  std::uint64_t applicationEnds = 0;
  bool wasExchangingAtEnd = false;  // when the application ended last
  std::uint64_t expected = 0;       // made in calm, while this host listened
  std::uint64_t mustPush = 0;       // of those received, the ones that no command waits for
  bool isCommandPending = false;    // one that changes the state, or may start the application
  bool wasOverlapped = false;       // two of those at a time: pushes may have ended for good
  bool isListening = false;         // when the application went on last

  /// The name of the file with its replies; empty until it has looked for one.
  [[nodiscard]] const std::string& responses() const { return responses_; }
  /// Its identifier, which is in that name and in its replies.
  [[nodiscard]] std::string identifier() const;

 private:
  enum class Exchange { none, waits, takes };

  /// A point in time, and for how long the host had been kept from running by then.
  struct Mark {
    Time at;
    std::chrono::nanoseconds excused;
  };
  [[nodiscard]] Mark mark() const { return {context_.kernel.now(), excused_}; }
  /// How long the host had to act since `since`.
  [[nodiscard]] std::chrono::nanoseconds elapsed(const Mark& since) const {
    return context_.kernel.now() - since.at - (excused_ - since.excused);
  }

  RunContext& context_;
  std::string responses_;
  Exchange exchange_ = Exchange::none;
  bool isReplyHeard_ = false;
  Time replyHeard_;                    // when it was
  Time lastAnnounced_;                 // when an announcement was last received
  bool hasRead_ = false;               // its file, since it has opened it
  bool changesState_ = false;          // the request under way
  std::optional<Mark> mustHearSince_;  // nothing is asked before the state is announced
  std::chrono::nanoseconds excused_{0};
  std::optional<Time> stoppedSince_;
  Mark began_{};
  Mark lastProgress_{};
  std::optional<Mark> inputEnded_;
};

}  // namespace corvane::Simulation
