#include "Platform/Linux/ApplicationObservation.h"

#include <utility>

#include "Platform/Linux/ApplicationRegistry.h"
#include "Platform/Linux/Folders.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {

ApplicationObservation::ApplicationObservation(std::string containerFolder,
                                               std::string bundleIdentifier, EventThread& thread,
                                               Changed changed)
    : containerFolder_(std::move(containerFolder)),
      bundleIdentifier_(std::move(bundleIdentifier)),
      thread_(thread),
      changed_(std::move(changed)) {}

int ApplicationObservation::begin() {
  const std::lock_guard lock(mutex_);
  isWatching_ = true;
  findStarted([](int) {});
  return static_cast<int>(instances_.size());
}

void ApplicationObservation::look() {
  const std::lock_guard lock(mutex_);
  if (!isWatching_) return;
  reportEnded();
  findStarted(changed_);
}

void ApplicationObservation::stop() {
  const std::lock_guard lock(mutex_);
  isWatching_ = false;
  for (const auto& [name, instance] : instances_) thread_.remove(instance.processDescriptor());
  instances_.clear();
}

void ApplicationObservation::reportEnded() {
  for (auto at = instances_.begin(); at != instances_.end();) {
    if (!at->second.hasEnded()) {
      ++at;
      continue;
    }
    thread_.remove(at->second.processDescriptor());
    at = instances_.erase(at);
    changed_(static_cast<int>(instances_.size()));
  }
}

void ApplicationObservation::findStarted(const Changed& changed) {
  const OwnedDescriptor folder = ApplicationRegistry::open(containerFolder_, bundleIdentifier_);
  if (!folder) return;
  for (const std::string& name : Folders::entries(folder)) {
    if (instances_.contains(name)) continue;
    auto instance = RunningInstance::find(folder, name);
    if (!instance) continue;
    watchEnd(instances_.emplace(name, *std::move(instance)).first->second);
    changed(static_cast<int>(instances_.size()));
  }
}

void ApplicationObservation::watchEnd(const RunningInstance& instance) {
  const auto added = thread_.add(instance.processDescriptor(), [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->look();
  });
  if (added) return;
  SystemLog::write(SystemLog::Severity::error,
                   "the end of an application is noticed only when it "
                   "starts again: " +
                       added.failure().description());
}

}  // namespace corvane::Platform
