#include "Platform/RunningApplications.h"

#import <AppKit/AppKit.h>

#include <map>
#include <mutex>
#include <utility>

#include "Platform/macOS/ApplicationObservation.h"
#include "Platform/macOS/NotificationCenterImplementation.h"

#pragma clang assume_nonnull begin

namespace corvane::Platform {
namespace {

/// Those of `applications` that are `bundleIdentifier` and have not ended.
ProcessSet processesOf(NSArray<NSRunningApplication*>* applications,
                       NSString* bundleIdentifier) {
  ProcessSet processes;
  for (NSRunningApplication* application in applications) {
    NSString* identifier = application.bundleIdentifier;
    if (identifier == nil || application.terminated) continue;
    if ([bundleIdentifier isEqualToString:identifier])
      processes.insert(application.processIdentifier);
  }
  return processes;
}

/// As the list stands of which the workspace tells each change.
ProcessSet listedInstances(const std::string& bundleIdentifier) {
  @autoreleasepool {
    NSString* identifier = [NSString stringWithUTF8String:bundleIdentifier.c_str()];
    if (identifier == nil) return {};
    return processesOf(NSWorkspace.sharedWorkspace.runningApplications, identifier);
  }
}

std::optional<std::string> textOf(const char* _Nullable text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

}  // namespace

struct RunningApplications::Observations {
  std::mutex mutex;  // guards what is below
  std::map<std::string, std::shared_ptr<ApplicationObservation>> byIdentifier;
};

/// Nothing is kept: to ask the system anew is cheap.
struct RunningApplications::Found {};

RunningApplications::RunningApplications(std::string containerFolder, NotificationCenter& center)
    : containerFolder_(std::move(containerFolder)),
      center_(center),
      observations_(std::make_unique<Observations>()),
      found_(std::make_unique<Found>()) {}

RunningApplications::~RunningApplications() {
  for (const auto& [identifier, observation] : observations_->byIdentifier) observation->stop();
}

int RunningApplications::instancesOf(const std::string& bundleIdentifier) const {
  @autoreleasepool {
    NSString* identifier = [NSString stringWithUTF8String:bundleIdentifier.c_str()];
    if (identifier == nil) return 0;
    NSArray<NSRunningApplication*>* applications =
        [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier];
    return static_cast<int>(processesOf(applications, identifier).size());
  }
}

bool RunningApplications::isRunning(const std::string& bundleIdentifier) const {
  return instancesOf(bundleIdentifier) > 0;
}

std::optional<RunningApplication> RunningApplications::applicationOf(
    pid_t processIdentifier) const {
  @autoreleasepool {
    NSRunningApplication* application =
        [NSRunningApplication runningApplicationWithProcessIdentifier:processIdentifier];
    if (application == nil || application.terminated) return std::nullopt;
    return RunningApplication{textOf(application.bundleIdentifier.UTF8String),
                              textOf(application.executableURL.fileSystemRepresentation)};
  }
}

std::optional<int> RunningApplications::observe(const std::string& bundleIdentifier,
                                                std::function<void(int instances)> changed) {
  EventQueue& queue = center_.implementation().queue();
  if (bundleIdentifier.empty() || queue.isOver()) return std::nullopt;
  const auto observation = std::make_shared<ApplicationObservation>(
      queue, [bundleIdentifier] { return listedInstances(bundleIdentifier); }, std::move(changed));
  const std::lock_guard lock(observations_->mutex);
  auto& kept = observations_->byIdentifier[bundleIdentifier];
  if (kept) kept->stop();
  kept = observation;
  return observation->begin();
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
