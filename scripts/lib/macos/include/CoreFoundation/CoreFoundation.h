// Stand-in for <CoreFoundation/CoreFoundation.h>: only what Platform/macOS uses.
#pragma once
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/cdefs.h>

#define CF_BRIDGED_TO_(Class) __attribute__((objc_bridge(Class)))

__BEGIN_DECLS
typedef unsigned char Boolean;
typedef long CFIndex;
typedef unsigned long CFHashCode;
typedef uint32_t CFStringEncoding;
typedef double CFTimeInterval;
typedef const struct CF_BRIDGED_TO_(NSString) __CFString *CFStringRef;
typedef const struct __CFAllocator *CFAllocatorRef;
typedef struct __CFBundle *CFBundleRef;
typedef struct __CFRunLoop *CFRunLoopRef;
typedef struct __CFRunLoopSource *CFRunLoopSourceRef;
typedef CFStringRef CFRunLoopMode;

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

typedef int32_t CFRunLoopRunResult;

typedef struct {
    CFIndex version;
    void *info;
    const void *(*retain)(const void *info);
    void (*release)(const void *info);
    CFStringRef (*copyDescription)(const void *info);
    Boolean (*equal)(const void *info1, const void *info2);
    CFHashCode (*hash)(const void *info);
    void (*schedule)(void *info, CFRunLoopRef rl, CFRunLoopMode mode);
    void (*cancel)(void *info, CFRunLoopRef rl, CFRunLoopMode mode);
    void (*perform)(void *info);
} CFRunLoopSourceContext;

extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFRunLoopMode kCFRunLoopDefaultMode;
extern const CFRunLoopMode kCFRunLoopCommonModes;

Boolean CFStringGetCString(CFStringRef theString, char *buffer, CFIndex bufferSize,
                           CFStringEncoding encoding);

CFBundleRef CFBundleGetMainBundle(void);
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

CFRunLoopRef CFRunLoopGetMain(void);
CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled);
void CFRunLoopWakeUp(CFRunLoopRef rl);
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);
CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef allocator, CFIndex order,
                                         CFRunLoopSourceContext *context);
void CFRunLoopSourceSignal(CFRunLoopSourceRef source);
__END_DECLS
