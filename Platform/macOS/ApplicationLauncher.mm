#include "Platform/ApplicationLauncher.h"

#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>

#include <utility>

#include "Platform/Posix/PendingLaunch.h"

#pragma clang assume_nonnull begin

namespace corvane::Platform {
namespace {

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
    const auto launch = PendingLaunch::begin(loop, std::move(answer));
    NSURL* application = urlOf(bundleIdentifier);
    if (application == nil) return launch->finishSoon(false);
    // The system may answer after the limit, when the launch and the loop are gone.
    const std::weak_ptr<PendingLaunch> pending = launch;
    // A failure is an answer, not a dialog that delays the answer until it is closed.
    NSWorkspaceOpenConfiguration* configuration = [NSWorkspaceOpenConfiguration configuration];
    configuration.promptsUserIfNeeded = NO;
    [NSWorkspace.sharedWorkspace
        openApplicationAtURL:application
               configuration:configuration
           completionHandler:^(NSRunningApplication* _Nullable started, NSError* _Nullable) {
             const bool isStarted = started != nil;
             dispatch_async(dispatch_get_main_queue(), ^{
               if (const auto launch = pending.lock()) launch->finishSoon(isStarted);
               // A timer that is set on the loop's own thread does not end its wait.
               CFRunLoopStop(CFRunLoopGetCurrent());
             });
           }];
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
