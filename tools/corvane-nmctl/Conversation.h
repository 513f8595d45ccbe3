#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "Base/Json.h"
#include "tools/corvane-nmctl/HostProcess.h"
#include "tools/corvane-nmctl/TalkReport.h"

namespace corvane::Nmctl {

/// What was asked of a host, and what it answered. One thread.
class Conversation {
 public:
  using Clock = HostProcess::Clock;

  /// How it went, the worst last: the exit status of who talked.
  enum class Outcome { good = 0, error = 1, unanswered = 2 };

  struct Options {
    std::chrono::duration<double> limit;  ///< for each answer
    bool showsPushes = false;
  };

  /// Both outlive it.
  Conversation(HostProcess& host, TalkReport& report, Options options);

  /// Sends the message. Its answer is waited for from now on, unless it is one that the host never
  /// answers, having no "id".
  void send(const JsonObject& message);

  /// Hears all that the host has said so far, or has begun to say. False when it has ended, or is
  /// not understood: then it is to be left.
  bool hear();

  /// Gives up the answers that are late by now.
  void giveUpLate();

  /// Gives up all answers.
  void giveUpAll(const std::string& why);

  /// A line that stood for no message counts, too.
  void refuse(const std::string& why);

  /// How many answers are waited for.
  [[nodiscard]] std::size_t openCount() const { return open_.size(); }
  /// When the next one will be late; only when there is one.
  [[nodiscard]] Clock::time_point nextLimit() const;
  [[nodiscard]] Outcome outcome() const { return outcome_; }

 private:
  struct Open {
    std::string type;
    std::string id;
    Clock::time_point sent;
  };

  void take(const JsonObject& message);
  void worsen(Outcome outcome);
  void hostHasEnded(const Failure& failure);

  HostProcess& host_;
  TalkReport& report_;
  const Options options_;
  std::vector<Open> open_;  // in the order in which they were sent
  Outcome outcome_ = Outcome::good;
};

}  // namespace corvane::Nmctl
