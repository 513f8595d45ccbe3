#include "Platform/Container/ApplicationObservation.h"

#include <utility>

#include "Platform/Container/ApplicationRegistry.h"
#include "Platform/Directories.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

const ApplicationObservation::Changed unreported = [](int) {};

}  // namespace

ApplicationObservation::ApplicationObservation(EventLoop& loop, std::string containerDirectory,
                                               std::string bundleIdentifier, Changed changed)
    : loop_(loop),
      containerDirectory_(std::move(containerDirectory)),
      bundleIdentifier_(std::move(bundleIdentifier)),
      changed_(std::move(changed)) {}

Result<int> ApplicationObservation::begin() {
  isNumberKnown_ = findStarted(unreported);
  if (!isNumberKnown_) return Failure{FailureCause::other, "the registry can't be looked at"};
  return static_cast<int>(instances_.size());
}

void ApplicationObservation::look() {
  const bool wasKnown = isNumberKnown_;
  const Changed& changed = wasKnown ? changed_ : unreported;
  reportEnded(changed);
  const bool isKnownNow = findStarted(changed);
  if (wasKnown || !isKnownNow) return;
  isNumberKnown_ = true;
  changed_(static_cast<int>(instances_.size()));
}

void ApplicationObservation::lookAgainIfUnknown() {
  if (again_) again_ = loop_.at(EventLoop::now(), [this] { look(); });
}

void ApplicationObservation::reportEnded(const Changed& changed) {
  for (auto at = instances_.begin(); at != instances_.end();) {
    if (!at->second.instance.hasEnded()) {
      ++at;
      continue;
    }
    at = instances_.erase(at);
    changed(static_cast<int>(instances_.size()));
  }
}

/// Adds new instances. Returns false if there may be others that can't be inspected now; another
/// look is then scheduled.
bool ApplicationObservation::findStarted(const Changed& changed) {
  const auto directory = ApplicationRegistry::open(containerDirectory_, bundleIdentifier_);
  const bool isAllKnown = directory ? findIn(directory.value(), changed)
                                    : directory.failure().cause == FailureCause::notFound;
  if (!isAllKnown && !again_) {
    SystemLog::write(SystemLog::Severity::error,
                     "it is not known for now which applications run: the registry can't be read");
  }
  again_ = {};
  if (!isAllKnown) again_ = loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { look(); });
  return isAllKnown;
}

/// Adds the new instances in `directory`. Returns false if some entries could not be inspected.
bool ApplicationObservation::findIn(const OwnedDescriptor& directory, const Changed& changed) {
  const auto names = Directories::entries(directory);
  if (!names) return false;
  bool isAllKnown = true;
  for (const std::string& name : names.value())
    if (!instances_.contains(name)) isAllKnown = add(directory, name, changed) && isAllKnown;
  return isAllKnown;
}

/// Adds the instance whose file is `name` if it is running. Returns false if that is unknown.
bool ApplicationObservation::add(const OwnedDescriptor& directory, const std::string& name,
                                 const Changed& changed) {
  auto found = RunningInstance::find(directory, name);
  if (!found) return false;
  if (!*found) return true;
  Watched& watched = instances_.emplace(name, Watched{*std::move(found).value()}).first->second;
  const int process = watched.instance.processDescriptor();
  if (process >= 0) {
    watched.end = loop_.onReadable(process, [this] { look(); });
  } else {
    SystemLog::write(SystemLog::Severity::error,
                     "the end of an application is noticed only when it starts again: its "
                     "process can't be watched");
  }
  changed(static_cast<int>(instances_.size()));
  return true;
}

}  // namespace corvane::Platform
