#pragma once

#include <algorithm>
#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "simulation/Report.h"
#include "simulation/System/Kernel.h"

namespace corvane::Simulation {

/// What all parts of a run know: the kernel, what has gone wrong so far, and what the main
/// application's state was when.
class RunContext {
 public:
  RunContext(Kernel& kernel, Report& report) : kernel(kernel), report(report) {}

  Kernel& kernel;
  Report& report;

  /// A promise was broken. The first one counts.
  void violate(const std::string& what) {
    if (violation.empty()) violation = what;
  }
  std::string violation;

  /// Something was done to a process or a file from which a request may suffer.
  void disturb(const std::string& what) {
    report.count(what);
    lastTrouble_ = kernel.now();
  }
  /// Notes that something is out of order, if it is.
  void recordTrouble() {
    if (isTroubled()) lastTrouble_ = kernel.now();
  }
  /// Whether nothing has been out of order since shortly before `time`: then every request is
  /// answered by the application.
  [[nodiscard]] bool isCalmSince(Time time) const {
    return !isTroubled() && lastTrouble_ + troubleLasts < time;
  }
  [[nodiscard]] bool isCalm() const { return isCalmSince(kernel.now()); }
  /// Whether something is out of order for as long as it lasts; set once.
  std::function<bool()> isTroubled;

  /// The main application's switch has this position from now on; nothing: it does not run, or is
  /// just starting or ending.
  void protectionIs(std::optional<bool> isEnabled) {
    if (!protection_.empty() && protection_.back().second == isEnabled) return;
    protection_.emplace_back(kernel.now(), isEnabled);
  }
  /// Whether the switch had this position at some time since `since`.
  [[nodiscard]] bool couldBe(std::optional<bool> isEnabled, Time since) const {
    for (std::size_t i = protection_.size(); i-- > 0;) {
      if (protection_[i].second == isEnabled) return true;
      if (protection_[i].first < since) return false;
    }
    return !isEnabled;
  }
  [[nodiscard]] std::optional<bool> protection() const {
    return protection_.empty() ? std::nullopt : protection_.back().second;
  }

  Time lastFull = Time::min();  // when the request file was last too long

 private:
  /// What waits in the meantime has been done or given up by then.
  static constexpr std::chrono::seconds troubleLasts{10};

  Time lastTrouble_ = Time::min();
  std::deque<std::pair<Time, std::optional<bool>>> protection_;  // since when
};

}  // namespace corvane::Simulation
