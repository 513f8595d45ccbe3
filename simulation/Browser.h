#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "Base/Json.h"
#include "simulation/HostMonitor.h"
#include "simulation/RunContext.h"

namespace corvane::Simulation {

/// A browser: starts one host after the other, sends requests, and checks the replies and pushes.
class Browser {
 public:
  Browser(RunContext& context, int number) : context_(context), number_(number) {}

  /// Starts a host. The previous one must have ended.
  void start();

  /// Queues a random request for `write`.
  void ask();
  /// Writes all queued bytes, or a random part of them, as far as the pipe has room.
  void write(bool all);
  /// Reads all output of the host. A no-op while the browser is slow.
  void read();
  /// Closes the host's input and, if `leaves`, its output.
  void close(bool leaves);

  void setSlow(bool isSlow);
  [[nodiscard]] bool isSlow() const { return isSlow_; }
  [[nodiscard]] bool isOpen() const { return input_ != nullptr; }
  [[nodiscard]] bool hasHost() const { return monitor_ && !monitor_->process->hasEnded; }
  [[nodiscard]] const std::shared_ptr<HostMonitor>& monitor() const { return monitor_; }
  [[nodiscard]] bool isWaiting() const;
  /// Whether bytes are still queued for the host.
  [[nodiscard]] bool hasMore() const { return isOpen() && !outbox_.empty(); }

  /// Must be called when the host's process has ended, for whatever reason.
  void hostEnded();
  /// Checks, when nothing is pending any more, that nothing is missing. `mustKnow`: the browser
  /// must know the application's current state.
  void checkQuiescent(bool mustKnow);
  /// Checks that the browser knows that the application has ended. `quit`: when it was told to.
  void checkAtEndOfApplication(Time quit);

 private:
  /// A request that was sent.
  struct Asked {
    std::string type;
    std::string token;  // what its reply must contain
    Time at;
    bool isValid = true;
    bool changesState = false;  // waits for an announcement, or may start the application
    bool isAlone = false;       // all earlier requests were answered, and no change came since
    bool isAnswered = false;
    bool getsNoReply = false;
  };

  /// Returns the string `key` of `object`, or an empty one.
  static std::string textOf(const JsonObject& object, std::string_view key);
  void hear(std::string_view bytes);
  void checkLastReplies();
  void takeFrame(std::string_view text);
  void takeReply(const JsonObject& reply);
  void takePush(const JsonObject& push);
  void takeSerial(const JsonObject& reply);
  void checkReply(const JsonObject& reply, Asked& asked);
  void checkError(const std::string& text, Asked& asked);
  void checkContent(const JsonObject& reply, const Asked& asked);
  void checkState(const JsonObject& reply, const Asked& asked);
  void noteState(const JsonObject& reply);
  void violate(const std::string& what);

  RunContext& context_;
  const int number_;
  int lives_ = 0;
  std::shared_ptr<HostMonitor> monitor_;
  std::shared_ptr<OpenFile> input_;   // writes to the host
  std::shared_ptr<OpenFile> output_;  // reads from it
  bool isSlow_ = false;
  bool wasSlow_ = false;        // at any time with this host
  std::optional<Time> closed_;  // when the input was
  Time written_;                // when the queue became empty last
  Time fastSince_;
  std::string outbox_;
  std::string heard_;

  std::map<std::string, Asked> asked_;  // by the id of the request
  std::set<std::string> tokens_;        // of this host
  std::set<std::uint64_t> serials_;
  std::uint64_t pushes_ = 0;
  int lastId_ = 0;
  std::optional<bool> knownRunning_;
  bool knownProtection_ = false;
};

}  // namespace corvane::Simulation
