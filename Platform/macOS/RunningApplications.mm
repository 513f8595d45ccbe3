#include "Platform/RunningApplications.h"

#import <AppKit/AppKit.h>

#include <map>
#include <utility>

#include "Platform/Posix/RunningInstances.h"

#pragma clang assume_nonnull begin

namespace {

/// Spelled as a selector, so that the compiler checks it.
NSString* observedKey() {
  return NSStringFromSelector(@selector(runningApplications));
}

}  // namespace

/// Calls a handler whenever the workspace's list of running applications has changed: on the main
/// thread, while its run loop turns, until it is released.
@interface CorvaneWorkspaceObserver : NSObject
- (instancetype)initWithHandler:(std::function<void()>)handler;
@end

@implementation CorvaneWorkspaceObserver {
  std::function<void()> _handler;
}

- (instancetype)initWithHandler:(std::function<void()>)handler {
  self = [super init];
  if (self != nil) {
    _handler = std::move(handler);
    [NSWorkspace.sharedWorkspace addObserver:self
                                  forKeyPath:observedKey()
                                     options:NSKeyValueObservingOptionNew
                                     context:nil];
  }
  return self;
}

- (void)dealloc {
  @autoreleasepool {
    [NSWorkspace.sharedWorkspace removeObserver:self forKeyPath:observedKey() context:nil];
  }
}

- (void)observeValueForKeyPath:(nullable NSString*)keyPath
                      ofObject:(nullable id)object
                        change:(nullable NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(nullable void*)context {
  _handler();  // it observes nothing else
}

@end

namespace corvane::Platform {
namespace {

std::optional<std::string> stringOf(const char* _Nullable string) {
  return string == nullptr ? std::nullopt : std::optional<std::string>(string);
}

/// The processes that are `bundleIdentifier`, by the list whose changes the workspace reports.
ProcessSet processesOf(const std::string& bundleIdentifier) {
  ProcessSet processes;
  @autoreleasepool {
    for (NSRunningApplication* application in NSWorkspace.sharedWorkspace.runningApplications) {
      const pid_t process = application.processIdentifier;  // may be -1
      if (process <= 0 || application.terminated) continue;
      if (stringOf(application.bundleIdentifier.UTF8String) == bundleIdentifier)
        processes.insert(process);
    }
  }
  return processes;
}

struct Observation {
  std::function<void(int instances)> changed;
  RunningInstances instances;
};

}  // namespace

struct RunningApplications::Known {
  std::map<std::string, Observation> observations;     // by bundle identifier
  CorvaneWorkspaceObserver* _Nullable observer = nil;  // nil before the first observation
  EventLoop::Registration nextLook;

  void look() {
    for (auto& [bundleIdentifier, observation] : observations)
      observation.instances.update(processesOf(bundleIdentifier), observation.changed);
  }
};

RunningApplications::RunningApplications(EventLoop& loop, std::string containerDirectory,
                                         NotificationCenter& center)
    : loop_(loop),
      containerDirectory_(std::move(containerDirectory)),
      center_(center),
      known_(std::make_unique<Known>()) {
  static_cast<void>(center_);  // the system itself reports what starts and ends
}

RunningApplications::~RunningApplications() = default;

Result<int> RunningApplications::instancesOf(const std::string& bundleIdentifier) const {
  return static_cast<int>(processesOf(bundleIdentifier).size());
}

Result<bool> RunningApplications::isRunning(const std::string& bundleIdentifier) const {
  return instancesOf(bundleIdentifier).value() > 0;  // looking never fails here
}

Result<std::optional<RunningApplication>> RunningApplications::applicationOf(
    pid_t processIdentifier) const {
  @autoreleasepool {
    NSRunningApplication* application =
        [NSRunningApplication runningApplicationWithProcessIdentifier:processIdentifier];
    if (application == nil || application.terminated) return std::optional<RunningApplication>();
    return std::optional(
        RunningApplication{stringOf(application.bundleIdentifier.UTF8String),
                           stringOf(application.executableURL.fileSystemRepresentation)});
  }
}

/// Listening comes before the first look: between the two nothing is missed.
Result<int> RunningApplications::observe(const std::string& bundleIdentifier,
                                         std::function<void(int instances)> changed) {
  if (bundleIdentifier.empty()) return Failure{FailureCause::malformed, "no bundle identifier"};
  if (known_->observer == nil) {
    @autoreleasepool {
      known_->observer = [[CorvaneWorkspaceObserver alloc] initWithHandler:[this] {
        known_->nextLook = loop_.at(EventLoop::now(), [this] { known_->look(); });
        // A timer that is set on the loop's own thread does not end its wait.
        CFRunLoopStop(CFRunLoopGetCurrent());
      }];
    }
  }
  Observation& observation = known_->observations[bundleIdentifier];
  observation = {std::move(changed), {}};
  observation.instances.update(processesOf(bundleIdentifier), [](int) {});
  return observation.instances.count();
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
