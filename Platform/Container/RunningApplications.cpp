#include "Platform/RunningApplications.h"

#include <map>
#include <utility>
#include <vector>

#include "Platform/Container/ApplicationObservation.h"
#include "Platform/Container/ApplicationRegistry.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Container/RunningInstance.h"
#include "Platform/Folders.h"
#include "Platform/Linux/FolderStamp.h"

namespace corvane::Platform {
namespace {

std::vector<RunningInstance> instancesIn(const OwnedDescriptor& folder) {
  std::vector<RunningInstance> instances;
  if (!folder) return instances;
  for (const std::string& name : Folders::entries(folder)) {
    if (auto instance = RunningInstance::find(folder, name))
      instances.push_back(std::move(*instance));
  }
  return instances;
}

/// Whether `error` says that the system lacks something, and nothing of what was asked for.
bool isShortOfSomething(int error) {
  return error == EMFILE || error == ENFILE || error == ENOMEM || error == EINTR;
}

/// What `isRunning` has found, so that it need not look again: while the instance still runs, or
/// while nothing has come into the folder in which there was none.
struct Look {
  OwnedDescriptor folder;  // the application's, or the nearest above it that there is
  FolderStamp stamp;
  std::optional<RunningInstance> instance;
};

Look lookFor(const std::string& containerFolder, const std::string& bundleIdentifier) {
  Look look;
  if (!Folders::isVisibleName(bundleIdentifier)) return look;
  look.folder = Folders::open(containerFolder);
  for (const std::string& next : ApplicationRegistry::pathOf(bundleIdentifier)) {
    look.stamp = FolderStamp(look.folder);
    OwnedDescriptor below = Folders::open(look.folder, next);
    if (!below && errno != ENOENT) look.stamp = {};  // it may be there all the same
    if (!below) return look;
    look.folder = std::move(below);
  }
  look.stamp = FolderStamp(look.folder);
  const auto names = Folders::entries(look.folder);
  for (const std::string& name : names) {
    errno = 0;
    look.instance = RunningInstance::find(look.folder, name);
    if (look.instance) return look;
    if (isShortOfSomething(errno)) look.stamp = {};  // it can't be known for now
  }
  return look;
}

}  // namespace

struct RunningApplications::Observations {
  std::map<std::string, std::unique_ptr<ApplicationObservation>> byIdentifier;
};

struct RunningApplications::Found {
  std::map<std::string, Look> byIdentifier;
};

RunningApplications::RunningApplications(EventLoop& loop, std::string containerFolder,
                                         NotificationCenter& center)
    : loop_(loop),
      containerFolder_(std::move(containerFolder)),
      center_(center),
      observations_(std::make_unique<Observations>()),
      found_(std::make_unique<Found>()) {}

RunningApplications::~RunningApplications() {
  for (const auto& [identifier, observation] : observations_->byIdentifier)
    center_.stopObserving(ApplicationRegistry::launchedName(identifier));
}

int RunningApplications::instancesOf(const std::string& bundleIdentifier) const {
  const auto folder = ApplicationRegistry::open(containerFolder_, bundleIdentifier);
  return static_cast<int>(instancesIn(folder).size());
}

bool RunningApplications::isRunning(const std::string& bundleIdentifier) const {
  Look& known = found_->byIdentifier[bundleIdentifier];
  const bool isKnown = known.instance ? !known.instance->hasEnded()
                                      : known.folder && known.stamp.holdsFor(known.folder);
  if (!isKnown) known = lookFor(containerFolder_, bundleIdentifier);
  return known.instance.has_value();
}

std::optional<RunningApplication> RunningApplications::applicationOf(
    pid_t processIdentifier) const {
  const OwnedDescriptor registry = ApplicationRegistry::open(containerFolder_);
  if (!registry) return std::nullopt;
  for (const std::string& bundleIdentifier : Folders::entries(registry)) {
    const OwnedDescriptor folder = Folders::open(registry, bundleIdentifier);
    if (!folder) continue;
    for (const std::string& name : Folders::entries(folder)) {
      if (ProcessFileName::processOf(name) == processIdentifier &&
          RunningInstance::find(folder, name)) {
        return RunningApplication{bundleIdentifier, std::nullopt};
      }
    }
  }
  return std::nullopt;
}

std::optional<int> RunningApplications::observe(const std::string& bundleIdentifier,
                                                std::function<void(int instances)> changed) {
  if (!ApplicationRegistry::isIdentifier(bundleIdentifier)) return std::nullopt;
  auto& observation = observations_->byIdentifier[bundleIdentifier];
  observation = std::make_unique<ApplicationObservation>(loop_, containerFolder_, bundleIdentifier,
                                                         std::move(changed));
  // Listening comes before the first look: between the two nothing is missed.
  const bool hears = center_.observe(ApplicationRegistry::launchedName(bundleIdentifier),
                                     [watched = observation.get()] { watched->look(); });
  if (!hears) {
    observations_->byIdentifier.erase(bundleIdentifier);
    return std::nullopt;
  }
  return observation->begin();
}

}  // namespace corvane::Platform
