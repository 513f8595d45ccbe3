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
/// thread, while its run loop turns.
@interface CorvaneWorkspaceObserver : NSObject
- (instancetype)initWithHandler:(std::function<void()>)handler;
- (void)stop;
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

- (void)stop {
  [NSWorkspace.sharedWorkspace removeObserver:self forKeyPath:observedKey() context:nil];
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

/// The processes among `applications` that are `bundleIdentifier` and have not ended.
ProcessSet instancesIn(NSArray<NSRunningApplication*>* applications,
                       const std::string& bundleIdentifier) {
  ProcessSet processes;
  for (NSRunningApplication* application in applications) {
    const pid_t process = application.processIdentifier;  // may be -1
    if (process <= 0 || application.terminated) continue;
    if (stringOf(application.bundleIdentifier.UTF8String) == bundleIdentifier)
      processes.insert(process);
  }
  return processes;
}

/// Which instances of one application are known to run.
class Observation : public std::enable_shared_from_this<Observation> {
 public:
  using Report = std::function<void(int instances)>;

  Observation(std::string bundleIdentifier, Report changed)
      : bundleIdentifier_(std::move(bundleIdentifier)), changed_(std::move(changed)) {}

  /// Looks at the list whose changes the workspace reports; returns how many instances run.
  int begin() {
    look([](int) {});
    return instances_.count();
  }

  /// Looks again, and posts each change to `loop`. What is pending ends with this object.
  void lookAgain(EventLoop& loop) {
    look([&](int instances) {
      loop.post([weak = weak_from_this(), instances] {
        if (const auto self = weak.lock()) self->changed_(instances);
      });
    });
  }

 private:
  void look(const Report& report) {
    instances_.update(
        instancesIn(NSWorkspace.sharedWorkspace.runningApplications, bundleIdentifier_), report);
  }

  const std::string bundleIdentifier_;
  const Report changed_;
  RunningInstances instances_;
};

}  // namespace

struct RunningApplications::Observations {
  std::map<std::string, std::shared_ptr<Observation>> byIdentifier;
  CorvaneWorkspaceObserver* _Nullable observer = nil;  // nil before the first observation
};

/// Nothing is kept: asking the system is cheap.
struct RunningApplications::Found {};

RunningApplications::RunningApplications(EventLoop& loop, std::string containerFolder,
                                         NotificationCenter& center)
    : loop_(loop),
      containerFolder_(std::move(containerFolder)),
      center_(center),
      observations_(std::make_unique<Observations>()) {
  static_cast<void>(center_);  // the system itself reports what starts and ends
}

RunningApplications::~RunningApplications() {
  @autoreleasepool {
    [observations_->observer stop];
  }
}

Result<int> RunningApplications::instancesOf(const std::string& bundleIdentifier) const {
  @autoreleasepool {
    NSString* identifier = [NSString stringWithUTF8String:bundleIdentifier.c_str()];
    if (identifier == nil) return 0;
    NSArray<NSRunningApplication*>* applications =
        [NSRunningApplication runningApplicationsWithBundleIdentifier:identifier];
    return static_cast<int>(instancesIn(applications, bundleIdentifier).size());
  }
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

Result<int> RunningApplications::observe(const std::string& bundleIdentifier,
                                         std::function<void(int instances)> changed) {
  if (bundleIdentifier.empty()) return Failure{FailureCause::malformed, "no bundle identifier"};
  @autoreleasepool {
    if (observations_->observer == nil) {
      observations_->observer = [[CorvaneWorkspaceObserver alloc] initWithHandler:[this] {
        for (const auto& [identifier, observation] : observations_->byIdentifier)
          observation->lookAgain(loop_);
        // A task that is posted on the loop's own thread does not end its wait.
        CFRunLoopStop(CFRunLoopGetCurrent());
      }];
    }
    const auto observation = std::make_shared<Observation>(bundleIdentifier, std::move(changed));
    observations_->byIdentifier[bundleIdentifier] = observation;
    return observation->begin();
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
