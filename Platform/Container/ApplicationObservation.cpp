#include "Platform/Container/ApplicationObservation.h"

#include <utility>

#include "Platform/Container/ApplicationRegistry.h"
#include "Platform/Folders.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {

ApplicationObservation::ApplicationObservation(EventLoop& loop, std::string containerFolder,
                                               std::string bundleIdentifier, Changed changed)
    : loop_(loop),
      containerFolder_(std::move(containerFolder)),
      bundleIdentifier_(std::move(bundleIdentifier)),
      changed_(std::move(changed)) {}

int ApplicationObservation::begin() {
  findStarted([](int) {});
  return static_cast<int>(instances_.size());
}

void ApplicationObservation::look() {
  reportEnded();
  findStarted(changed_);
}

void ApplicationObservation::reportEnded() {
  for (auto at = instances_.begin(); at != instances_.end();) {
    if (!at->second.instance.hasEnded()) {
      ++at;
      continue;
    }
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
    Watched& watched = instances_.emplace(name, Watched{*std::move(instance)}).first->second;
    const int process = watched.instance.processDescriptor();
    if (process >= 0) watched.end = loop_.onReadable(process, [this] { look(); });
    if (!watched.end) {
      SystemLog::write(SystemLog::Severity::error,
                       "the end of an application is noticed only when it starts again: its "
                       "process can't be watched");
    }
    changed(static_cast<int>(instances_.size()));
  }
}

}  // namespace corvane::Platform
