#pragma once

#include <functional>
#include <map>
#include <string>

#include "Base/Result.h"
#include "Platform/Container/RunningInstance.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// Tracks the running instances of one application and reports each change of their number. `look`
/// compares them with the registry and reports ends before starts, so that an end and a start
/// between two looks are two changes. The owner calls `look` when an instance announces its start;
/// the loop calls it when a process descriptor becomes readable, and soon after a look that left
/// something unknown. On the loop's thread.
class ApplicationObservation {
 public:
  using Changed = std::function<void(int instances)>;

  /// `loop` must outlive this object. `changed` is called by `look` and from the loop; it must not
  /// destroy this object.
  ApplicationObservation(EventLoop& loop, std::string containerDirectory,
                         std::string bundleIdentifier, Changed changed);
  ApplicationObservation(const ApplicationObservation&) = delete;
  ApplicationObservation& operator=(const ApplicationObservation&) = delete;
  ~ApplicationObservation() = default;

  /// The first look: returns how many run now and reports no change. Fails if that isn't known yet;
  /// it is reported as a change as soon as it is.
  Result<int> begin();

  /// Looks again and reports what has changed.
  void look();

  /// Looks again in the loop's next turn, if the last look left something unknown.
  void lookAgainIfUnknown();

 private:
  struct Watched {
    RunningInstance instance;
    EventLoop::Registration end = {};
  };

  void reportEnded(const Changed& changed);
  bool findStarted(const Changed& changed);
  bool findIn(const OwnedDescriptor& directory, const Changed& changed);
  bool add(const OwnedDescriptor& directory, const std::string& name, const Changed& changed);

  EventLoop& loop_;
  const std::string containerDirectory_;
  const std::string bundleIdentifier_;
  const Changed changed_;
  std::map<std::string, Watched> instances_;  // those that run, by the names of their files
  bool isNumberKnown_ = false;                // since a look that left nothing unknown
  EventLoop::Registration again_;             // the next look, while something is unknown
};

}  // namespace corvane::Platform
