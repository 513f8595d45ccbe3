#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "Platform/Posix/RunningInstances.h"
#include "Platform/macOS/EventQueue.h"
#include "Platform/macOS/WorkspaceObserver.h"

namespace corvane::Platform {

/// Tells each change of the number of instances of one application. Held by std::shared_ptr. Safe
/// from any thread.
class ApplicationObservation : public std::enable_shared_from_this<ApplicationObservation> {
 public:
  using Changed = std::function<void(int instances)>;
  using Look = std::function<ProcessSet()>;

  /// `look` finds the instances; `changed` runs on `queue`, which must outlive this object.
  ApplicationObservation(EventQueue& queue, Look look, Changed changed);

  /// Once: the first look. Gives how many run now; before it no change is told.
  int begin();

  /// No change is told any more after the return. Never from `changed`.
  void stop();

 private:
  void lookAgain();
  void tell(int instances);

  EventQueue& queue_;
  const Look look_;
  const Changed changed_;

  std::mutex mutex_;  // guards all below; not held while the observer is made or ended
  bool isWatching_ = false;
  RunningInstances instances_;
  std::unique_ptr<WorkspaceObserver> observer_;
};

}  // namespace corvane::Platform
