#include "Platform/ApplicationLauncher.h"

#import <AppKit/AppKit.h>

#pragma clang assume_nonnull begin

namespace corvane::Platform {

bool ApplicationLauncher::launch(const std::string& bundleIdentifier) {
  @autoreleasepool {
    NSString* identifier = [NSString stringWithUTF8String:bundleIdentifier.c_str()];
    if (identifier == nil) return false;
    NSWorkspace* workspace = NSWorkspace.sharedWorkspace;
    NSURL* application = [workspace URLForApplicationWithBundleIdentifier:identifier];
    if (application == nil) return false;
    // A failure is an answer, not a dialog that holds the answer up until somebody comes.
    NSWorkspaceOpenConfiguration* configuration = [NSWorkspaceOpenConfiguration configuration];
    configuration.promptsUserIfNeeded = NO;
    __block bool isStarted = false;
    const dispatch_semaphore_t answered = dispatch_semaphore_create(0);
    // The answer comes on a queue of the system's, never on the thread that waits here.
    [workspace openApplicationAtURL:application
                      configuration:configuration
                  completionHandler:^(NSRunningApplication* _Nullable started, NSError* _Nullable) {
                    isStarted = started != nil;
                    dispatch_semaphore_signal(answered);
                  }];
    dispatch_semaphore_wait(answered, DISPATCH_TIME_FOREVER);
    return isStarted;
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
