#include "Platform/ApplicationLauncher.h"

#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>

#include <memory>
#include <utility>

#include "Base/TimeLimits.h"

#pragma clang assume_nonnull begin

namespace corvane::Platform {
namespace {

/// A launch that waits for its answer; owned by the one timer that will give it. On the loop's
/// thread only, which is the main thread.
class Launch : public std::enable_shared_from_this<Launch> {
 public:
  Launch(EventLoop& loop, UniqueFunction<void(bool isStarted)> answer)
      : loop_(loop), answer_(std::move(answer)) {}

  /// Answers at `time`, in place of what was to be answered before.
  void answerAt(EventLoop::Clock::time_point time, bool isStarted) {
    timer_ = loop_.at(time, [self = shared_from_this(), isStarted] { self->answer_(isStarted); });
  }

 private:
  EventLoop& loop_;
  UniqueFunction<void(bool isStarted)> answer_;
  EventLoop::Registration timer_;
};

NSURL* _Nullable urlOf(const std::string& bundleIdentifier) {
  NSString* identifier = [NSString stringWithUTF8String:bundleIdentifier.c_str()];
  if (identifier == nil) return nil;
  return [NSWorkspace.sharedWorkspace URLForApplicationWithBundleIdentifier:identifier];
}

}  // namespace

Result<Done> ApplicationLauncher::check(const std::string& bundleIdentifier) {
  @autoreleasepool {
    if (urlOf(bundleIdentifier) != nil) return Done{};
    return Failure{FailureCause::notFound, "no application has the identifier " + bundleIdentifier};
  }
}

void ApplicationLauncher::launch(EventLoop& loop, const std::string& bundleIdentifier,
                                 UniqueFunction<void(bool isStarted)> answer) {
  @autoreleasepool {
    const auto launch = std::make_shared<Launch>(loop, std::move(answer));
    NSURL* application = urlOf(bundleIdentifier);
    if (application == nil) return launch->answerAt(EventLoop::now(), false);
    launch->answerAt(EventLoop::now() + TimeLimits::appState, false);
    // The system may answer after the limit, when the launch and the loop are gone.
    const std::weak_ptr<Launch> pending = launch;
    // A failure is an answer, not a dialog that delays the answer until it is closed.
    NSWorkspaceOpenConfiguration* configuration = [NSWorkspaceOpenConfiguration configuration];
    configuration.promptsUserIfNeeded = NO;
    [NSWorkspace.sharedWorkspace
        openApplicationAtURL:application
               configuration:configuration
           completionHandler:^(NSRunningApplication* _Nullable started, NSError* _Nullable) {
             const bool isStarted = started != nil;
             dispatch_async(dispatch_get_main_queue(), ^{
               if (const auto launch = pending.lock())
                 launch->answerAt(EventLoop::now(), isStarted);
               // A timer that is set on the loop's own thread does not end its wait.
               CFRunLoopStop(CFRunLoopGetCurrent());
             });
           }];
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
