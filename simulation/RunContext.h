#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "simulation/Report.h"
#include "simulation/System/Kernel.h"

namespace corvane::Simulation {

/// What all parts of a run share: the kernel, the report, the first violation, and the history of
/// disturbances and of the application's state.
class RunContext {
 public:
  RunContext(Kernel& kernel, Report& report) : kernel(kernel), report(report) {}

  Kernel& kernel;
  Report& report;

  /// Records that a promise was broken. Only the first one is kept.
  void violate(const std::string& what) {
    if (violation.empty()) violation = what;
  }
  std::string violation;

  /// Records an event that may make requests fail.
  void disturb(const std::string& what) {
    report.count(what);
    lastTrouble_ = kernel.now();
  }
  /// Must be called after each step: records whether something disturbs.
  void recordTrouble() {
    if (isTroubled()) lastTrouble_ = kernel.now();
  }
  /// Whether there was no disturbance from 10 s before `time` until now. Then the application must
  /// answer every request.
  [[nodiscard]] bool isCalmSince(Time time) const {
    return !isTroubled() && lastTrouble_ + troubleLasts < time;
  }
  [[nodiscard]] bool isCalm() const { return isCalmSince(kernel.now()); }
  /// Returns whether something disturbs now; set once.
  std::function<bool()> isTroubled;

  /// Records that protection is on or off from now on; nothing: the application does not run.
  void protectionIs(std::optional<bool> isEnabled) {
    if (!protection_.empty() && protection_.back().second == isEnabled) return;
    protection_.emplace_back(kernel.now(), isEnabled);
  }
  /// Whether protection was `isEnabled` at some time since `since`.
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

  Time lastFull = Time::min();  // when the request file last exceeded its limit

 private:
  /// By then every exchange that was disturbed has ended.
  static constexpr std::chrono::seconds troubleLasts{10};

  Time lastTrouble_ = Time::min();
  std::deque<std::pair<Time, std::optional<bool>>> protection_;  // with the times of the changes
};

}  // namespace corvane::Simulation
