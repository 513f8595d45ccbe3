#include "Platform/RunningApplications.h"

#include <map>
#include <utility>
#include <vector>

#include "Platform/Container/ApplicationObservation.h"
#include "Platform/Container/ApplicationRegistry.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Container/RunningInstance.h"
#include "Platform/Directories.h"
#include "Platform/Linux/DirectoryStamp.h"

namespace corvane::Platform {
namespace {

/// What `isRunning` found last. Still right while the instance found is running or, if there was
/// none, while the directory is unchanged.
struct Look {
  OwnedDescriptor directory;  // the application's, or its nearest existing parent
  DirectoryStamp stamp;
  std::optional<RunningInstance> instance;
};

/// Returns the first running instance in `directory` for whose file name `isWanted` returns true.
/// Fails if none was found but some entries could not be inspected.
template <class IsWanted>
Result<std::optional<RunningInstance>> findIn(const OwnedDescriptor& directory, IsWanted isWanted) {
  const auto names = Directories::entries(directory);
  if (!names) return names.failure();
  Result<std::optional<RunningInstance>> result = std::optional<RunningInstance>();
  for (const std::string& name : names.value()) {
    if (!isWanted(name)) continue;
    auto found = RunningInstance::find(directory, name);
    if (found && *found) return found;
    if (!found) result = std::move(found);
  }
  return result;
}

Result<Look> lookFor(const std::string& containerDirectory, const std::string& bundleIdentifier) {
  Look look;
  if (!Directories::isVisibleName(bundleIdentifier)) return look;
  auto directory = Directories::open(containerDirectory);
  if (!directory && directory.failure().cause == FailureCause::notFound) return look;
  if (!directory) return directory.failure();
  look.directory = std::move(directory).value();
  for (const std::string& next : ApplicationRegistry::pathOf(bundleIdentifier)) {
    look.stamp = DirectoryStamp(look.directory);
    auto below = Directories::open(look.directory, next);
    if (!below && below.failure().cause == FailureCause::notFound) return look;
    if (!below) return below.failure();
    look.directory = std::move(below).value();
  }
  look.stamp = DirectoryStamp(look.directory);
  auto found = findIn(look.directory, [](const std::string&) { return true; });
  if (!found) return found.failure();
  look.instance = std::move(found).value();
  return look;
}

}  // namespace

struct RunningApplications::Known {
  // By bundle identifier.
  std::map<std::string, std::unique_ptr<ApplicationObservation>> observations;
  std::map<std::string, Look> looks;
};

RunningApplications::RunningApplications(EventLoop& loop, std::string containerDirectory,
                                         NotificationCenter& center)
    : loop_(loop),
      containerDirectory_(std::move(containerDirectory)),
      center_(center),
      known_(std::make_unique<Known>()) {}

RunningApplications::~RunningApplications() {
  for (const auto& [identifier, observation] : known_->observations)
    center_.stopObserving(ApplicationRegistry::launchedName(identifier));
}

Result<int> RunningApplications::instancesOf(const std::string& bundleIdentifier) const {
  const auto directory = ApplicationRegistry::open(containerDirectory_, bundleIdentifier);
  if (!directory && directory.failure().cause == FailureCause::notFound) return 0;
  if (!directory) return directory.failure();
  const auto names = Directories::entries(directory.value());
  if (!names) return names.failure();
  int count = 0;
  for (const std::string& name : names.value()) {
    const auto instance = RunningInstance::find(directory.value(), name);
    if (!instance) return instance.failure();
    if (*instance) ++count;
  }
  return count;
}

Result<bool> RunningApplications::isRunning(const std::string& bundleIdentifier) const {
  const auto observation = known_->observations.find(bundleIdentifier);
  if (observation != known_->observations.end()) observation->second->lookAgainIfUnknown();
  Look& last = known_->looks[bundleIdentifier];
  const bool isKnown = last.instance ? !last.instance->hasEnded()
                                     : last.directory && last.stamp.holdsFor(last.directory);
  if (!isKnown) {
    last = {};
    auto look = lookFor(containerDirectory_, bundleIdentifier);
    if (!look) return look.failure();
    last = std::move(look).value();
  }
  return last.instance.has_value();
}

Result<std::optional<RunningApplication>> RunningApplications::applicationOf(
    pid_t processIdentifier) const {
  const std::optional<RunningApplication> none;
  const auto registry = ApplicationRegistry::open(containerDirectory_);
  if (!registry && registry.failure().cause == FailureCause::notFound) return none;
  if (!registry) return registry.failure();
  const auto identifiers = Directories::entries(registry.value());
  if (!identifiers) return identifiers.failure();
  for (const std::string& bundleIdentifier : identifiers.value()) {
    const auto directory = Directories::open(registry.value(), bundleIdentifier);
    if (!directory && directory.failure().cause == FailureCause::notFound)
      continue;  // a stray file
    if (!directory) return directory.failure();
    const auto found = findIn(directory.value(), [&](const std::string& name) {
      return ProcessFileName::processOf(name) == processIdentifier;
    });
    if (!found) return found.failure();
    if (*found) return std::optional(RunningApplication{bundleIdentifier, std::nullopt});
  }
  return none;
}

Result<int> RunningApplications::observe(const std::string& bundleIdentifier,
                                         std::function<void(int instances)> changed) {
  if (!ApplicationRegistry::isIdentifier(bundleIdentifier))
    return Failure{FailureCause::malformed, "no bundle identifier: " + bundleIdentifier};
  auto& observation = known_->observations[bundleIdentifier];
  observation = std::make_unique<ApplicationObservation>(loop_, containerDirectory_,
                                                         bundleIdentifier, std::move(changed));
  // Observes before the first look, so that no start between the two is missed. If this fails, the
  // center retries, and calls back once it has succeeded.
  (void)center_.observe(ApplicationRegistry::launchedName(bundleIdentifier),
                        [watched = observation.get()] { watched->look(); });
  return observation->begin();
}

}  // namespace corvane::Platform
