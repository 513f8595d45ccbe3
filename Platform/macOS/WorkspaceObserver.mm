#include "Platform/macOS/WorkspaceObserver.h"

#import <AppKit/AppKit.h>

#include <utility>

#pragma clang assume_nonnull begin

namespace {

/// Marks our own observations among those of superclasses: only its address counts.
char observationContext;

/// Spelled as a selector, so that the compiler checks it.
NSString* observedKey() {
  return NSStringFromSelector(@selector(runningApplications));
}

}  // namespace

/// The system tells changes to an object only.
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
                                     context:&observationContext];
  }
  return self;
}

- (void)stop {
  [NSWorkspace.sharedWorkspace removeObserver:self
                                   forKeyPath:observedKey()
                                      context:&observationContext];
}

- (void)observeValueForKeyPath:(nullable NSString*)keyPath
                      ofObject:(nullable id)object
                        change:(nullable NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(nullable void*)context {
  if (context == &observationContext) {
    _handler();
  } else {
    [super observeValueForKeyPath:keyPath ofObject:object change:change context:context];
  }
}

@end

namespace corvane::Platform {

namespace {

CorvaneWorkspaceObserver* makeObserver(std::function<void()> changed) {
  @autoreleasepool {  // there need be no other at start-up
    return [[CorvaneWorkspaceObserver alloc] initWithHandler:std::move(changed)];
  }
}

}  // namespace

struct WorkspaceObserver::Registration {
  CorvaneWorkspaceObserver* observer;
};

WorkspaceObserver::WorkspaceObserver(std::function<void()> changed)
    : registration_(new Registration{makeObserver(std::move(changed))}) {}

WorkspaceObserver::~WorkspaceObserver() {
  @autoreleasepool {
    CorvaneWorkspaceObserver* observer = registration_->observer;
    delete registration_;
    [observer stop];
    // A call may just be on its way to it on the main thread, which then lets it go afterwards.
    dispatch_async(dispatch_get_main_queue(), ^{
      (void)observer;
    });
  }
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
