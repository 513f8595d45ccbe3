#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Platform/Linux/EventThread.h"
#include "Platform/Linux/RunningInstance.h"

namespace corvane::Platform {

/// Knows which instances of one application run and tells each change of their number. A look
/// compares what it knows with the registry: first those that have ended, then those that are new,
/// so that an end and a start between two looks are two changes. To be looked at when an instance
/// says that it runs; the ends it hears of by itself, on `thread`, by process descriptors. (After
/// an end it looks for new instances too, should their word have been lost.) Held by
/// std::shared_ptr. Safe from any thread.
class ApplicationObservation : public std::enable_shared_from_this<ApplicationObservation> {
 public:
  using Changed = std::function<void(int instances)>;

  /// `thread` must run, and outlive what happens up to `stop`. `changed` runs on the thread that
  /// looks, with the lock held: it must only queue.
  ApplicationObservation(std::string containerFolder, std::string bundleIdentifier,
                         EventThread& thread, Changed changed);

  /// The first look: how many run now. Tells no change; before it none is told.
  int begin();

  /// Looks anew and tells what has changed. Nothing before `begin` and after `stop`.
  void look();

  /// No change is told any more after the return. Never from `changed`.
  void stop();

 private:
  using Instances = std::map<std::string, RunningInstance>;

  void reportEnded();
  void findStarted(const Changed& changed);
  void watchEnd(const RunningInstance& instance);

  const std::string containerFolder_;
  const std::string bundleIdentifier_;
  EventThread& thread_;
  const Changed changed_;

  std::mutex mutex_;  // guards all below; nobody posts while holding it
  bool isWatching_ = false;
  Instances instances_;  // those that run, by the names of their files
};

}  // namespace corvane::Platform
