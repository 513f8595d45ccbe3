#pragma once

#include <sys/types.h>

#include <functional>
#include <set>

namespace corvane::Platform {

/// Process identifiers of the instances of one application.
using ProcessSet = std::set<pid_t>;

/// The instances of an application that were running at the last check. Turns the difference to a
/// new check into reports, for systems that announce only that something has changed. One thread at
/// a time.
class RunningInstances {
 public:
  /// Replaces the known instances by `found`. Calls `changed` with the new number after each
  /// instance that has ended, then after each that has started: so one that was replaced since the
  /// last check causes two calls. `changed` must not call this object.
  void update(const ProcessSet& found, const std::function<void(int instances)>& changed);

  /// The number of instances at the last check.
  [[nodiscard]] int count() const { return static_cast<int>(known_.size()); }

 private:
  ProcessSet known_;
};

}  // namespace corvane::Platform
