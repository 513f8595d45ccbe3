#pragma once

#include <sys/types.h>

#include <functional>
#include <set>

namespace corvane::Platform {

using ProcessSet = std::set<pid_t>;

/// Which instances of an application are known to run, and what is to be told when a new look finds
/// others. One thread at a time.
class RunningInstances {
 public:
  /// Takes over what a look has found and gives `changed` the number of instances after each end,
  /// then after each start: an end and a start between two looks are two changes.
  void update(const ProcessSet& found, const std::function<void(int instances)>& changed);

  [[nodiscard]] int count() const { return static_cast<int>(known_.size()); }

 private:
  ProcessSet known_;
};

}  // namespace corvane::Platform
