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

/// A browser: starts one host after the other, asks, and holds what it hears against what it asked.
class Browser {
 public:
  Browser(RunContext& context, int number) : context_(context), number_(number) {}

  /// Starts a host; the one before has ended.
  void start();

  /// Makes a request of any kind; it leaves with `write`.
  void ask();
  /// Hands the host some of what is to be written, or all.
  void write(bool all);
  /// Reads what has come, unless it is in no mood to.
  void read();
  /// Closes its end of the host's input; and of the output, if it `leaves`.
  void close(bool leaves);

  void setSlow(bool isSlow);
  [[nodiscard]] bool isSlow() const { return isSlow_; }
  [[nodiscard]] bool isOpen() const { return input_ != nullptr; }
  [[nodiscard]] bool hasHost() const { return monitor_ && !monitor_->process->hasEnded; }
  [[nodiscard]] const std::shared_ptr<HostMonitor>& monitor() const { return monitor_; }
  [[nodiscard]] bool isWaiting() const;
  /// Whether there is something that the host has not been given yet.
  [[nodiscard]] bool hasMore() const { return isOpen() && !outbox_.empty(); }

  /// The host has ended, by itself or killed.
  void hostEnded();
  /// Complains about what is missing when everything has come to rest; `mustKnow`: the browser must
  /// know the application's present state.
  void checkQuiescent(bool mustKnow);
  /// Complains if the browser does not know that the application runs no more.
  void checkAtEndOfApplication();

 private:
  /// A request that was made.
  struct Asked {
    std::string type;
    std::string token;  // what its reply has to hold
    Time at;
    bool isValid = true;
    bool changesState = false;  // waits for an announcement, or may start the application
    bool isAlone = false;       // all before have been answered
    bool isAnswered = false;
    bool getsNoReply = false;
  };

  std::string requestOf(std::string& type, Asked& asked, const std::string& id);
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
  std::optional<Time> closed_;  // the input
  Time written_;                // when the last request was
  Time fastSince_;
  std::string outbox_;
  std::string heard_;

  std::map<std::string, Asked> asked_;  // by the id of the request
  std::set<std::string> tokens_;        // of this monitor
  std::set<std::uint64_t> serials_;
  std::uint64_t pushes_ = 0;
  int lastId_ = 0;
  std::optional<bool> knownRunning_;
  bool knownProtection_ = false;
};

}  // namespace corvane::Simulation
