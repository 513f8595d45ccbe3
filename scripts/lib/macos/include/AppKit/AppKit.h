// Stand-in for <AppKit/AppKit.h>: only what Platform/macOS uses, and the old way to launch, which
// must not compile any more.
#pragma once
#import <Foundation/Foundation.h>
#import <sys/types.h>

#pragma clang assume_nonnull begin

@class NSAppleEventDescriptor, NSNumber;

typedef NSUInteger NSWorkspaceLaunchOptions;
enum : NSWorkspaceLaunchOptions { NSWorkspaceLaunchDefault = 0x00010000 };

@interface NSRunningApplication : NSObject
@property(readonly, getter=isTerminated) BOOL terminated;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@property(nullable, readonly, copy) NSURL* executableURL;
@property(readonly) pid_t processIdentifier;
+ (nullable instancetype)runningApplicationWithProcessIdentifier:(pid_t)pid;
@end

API_AVAILABLE(macos(10.15))
@interface NSWorkspaceOpenConfiguration : NSObject
+ (instancetype)configuration;
@property BOOL promptsUserIfNeeded;
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
@property(readonly, copy) NSArray<NSRunningApplication*>* runningApplications;
- (nullable NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)bundleIdentifier;
- (void)openApplicationAtURL:(NSURL*)applicationURL
               configuration:(NSWorkspaceOpenConfiguration*)configuration
           completionHandler:(void (^_Nullable)(NSRunningApplication* _Nullable app,
                                                NSError* _Nullable error))completionHandler
    API_AVAILABLE(macos(10.15));
- (BOOL)launchAppWithBundleIdentifier:(NSString*)bundleIdentifier
                              options:(NSWorkspaceLaunchOptions)options
       additionalEventParamDescriptor:(nullable NSAppleEventDescriptor*)descriptor
                     launchIdentifier:(NSNumber* _Nullable* _Nullable)identifier
    API_DEPRECATED("use openApplicationAtURL:configuration:completionHandler:", macos(10.0, 11.0));
@end

#pragma clang assume_nonnull end
