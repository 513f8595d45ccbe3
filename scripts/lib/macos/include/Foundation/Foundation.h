// Stand-in for <Foundation/Foundation.h>: only what Platform/macOS uses.
#pragma once
#import <CoreFoundation/CoreFoundation.h>
#import <objc/NSObject.h>
#import <os/availability.h>

#pragma clang assume_nonnull begin

@class NSString, NSURL, NSError;
typedef struct {
    unsigned long state;
    id __unsafe_unretained _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;

extern "C" NSString* NSStringFromSelector(SEL aSelector);

typedef NSString* NSKeyValueChangeKey;
typedef NSUInteger NSKeyValueObservingOptions;
enum : NSKeyValueObservingOptions { NSKeyValueObservingOptionNew = 0x01 };

@interface NSString : NSObject
@property(nullable, readonly) const char* UTF8String;
+ (nullable instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
@end

@interface NSArray<__covariant ObjectType> : NSObject
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)len;
@end

@interface NSDictionary<__covariant KeyType, __covariant ObjectType> : NSObject
@end

@interface NSURL : NSObject
@property(readonly) const char* fileSystemRepresentation;
@end

@interface NSFileManager : NSObject
@property(class, readonly) NSFileManager* defaultManager;
- (nullable NSURL*)containerURLForSecurityApplicationGroupIdentifier:(NSString*)groupIdentifier
    API_AVAILABLE(macos(10.8));
@end

@interface NSUserDefaults : NSObject
// The system also takes nil, for the settings of this process alone; here that is to be an error.
- (nullable instancetype)initWithSuiteName:(NSString*)suitename API_AVAILABLE(macos(10.9));
- (NSInteger)integerForKey:(NSString*)defaultName;
@end

@interface NSObject (NSKeyValueObserving)
- (void)observeValueForKeyPath:(nullable NSString*)keyPath
                      ofObject:(nullable id)object
                        change:(nullable NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(nullable void*)context;
@end
@interface NSObject (NSKeyValueObserverRegistration)
- (void)addObserver:(NSObject*)observer
         forKeyPath:(NSString*)keyPath
            options:(NSKeyValueObservingOptions)options
            context:(nullable void*)context;
- (void)removeObserver:(NSObject*)observer
            forKeyPath:(NSString*)keyPath
               context:(nullable void*)context API_AVAILABLE(macos(10.7));
@end

#pragma clang assume_nonnull end
