#pragma once

#include <functional>
#include <map>
#include <string>

#include "Base/Result.h"
#include "Platform/Container/RunningInstance.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// Tracks the running instances of one application and reports each change of their number. `look`
/// compares the known ones with the registry and reports ends before starts, so that an instance
/// that was replaced since the last look causes two calls. The owner calls `look` when an instance
/// announces its start; the loop calls it when a process ends (its process descriptor becomes
/// readable), and `EventLoop::retryPause` after a look that left something unknown. Must be used on
/// the loop's thread.
class ApplicationObservation {
 public:
  /// Called with the new number of instances.
  using Changed = std::function<void(int instances)>;

  /// Looks at nothing yet. `loop` must outlive this object. `changed` is called inside `look`, also
  /// by the loop; it must not destroy this object.
  ApplicationObservation(EventLoop& loop, std::string containerDirectory,
                         std::string bundleIdentifier, Changed changed);
  ApplicationObservation(const ApplicationObservation&) = delete;
  ApplicationObservation& operator=(const ApplicationObservation&) = delete;
  ~ApplicationObservation() = default;

  /// Looks for the first time: returns the number of running instances without reporting a change.
  /// Fails if it is unknown for now; it is reported as a change as soon as it is known. Call it
  /// once.
  Result<int> begin();

  /// Looks again and calls `changed` for each difference. While the number has never been known,
  /// only counts, and reports it once it is.
  void look();

  /// If the last look left something unknown, looks again as soon as the loop can, not only after
  /// the pause.
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
