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
typedef unsigned long CFOptionFlags;
typedef uint32_t CFStringEncoding;
typedef double CFTimeInterval;
typedef const void *CFTypeRef;
typedef const struct CF_BRIDGED_TO_(NSString) __CFString *CFStringRef;
typedef const struct __CFAllocator *CFAllocatorRef;
typedef struct __CFBundle *CFBundleRef;
typedef struct __CFFileDescriptor *CFFileDescriptorRef;
typedef struct __CFRunLoop *CFRunLoopRef;
typedef struct __CFRunLoopSource *CFRunLoopSourceRef;
typedef CFStringRef CFRunLoopMode;

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

typedef int32_t CFRunLoopRunResult;

typedef int CFFileDescriptorNativeDescriptor;
typedef struct CFFileDescriptorContext CFFileDescriptorContext;  // nothing of it is used
typedef void (*CFFileDescriptorCallBack)(CFFileDescriptorRef f, CFOptionFlags callBackTypes,
                                         void *info);

enum : CFOptionFlags { kCFFileDescriptorReadCallBack = 1UL << 0 };

extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFRunLoopMode kCFRunLoopDefaultMode;

Boolean CFStringGetCString(CFStringRef theString, char *buffer, CFIndex bufferSize,
                           CFStringEncoding encoding);

CFBundleRef CFBundleGetMainBundle(void);
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);

void CFRelease(CFTypeRef cf);

CFRunLoopRef CFRunLoopGetCurrent(void);
CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled);
void CFRunLoopStop(CFRunLoopRef rl);
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);
void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source);

CFFileDescriptorRef CFFileDescriptorCreate(CFAllocatorRef allocator,
                                           CFFileDescriptorNativeDescriptor fd,
                                           Boolean closeOnInvalidate,
                                           CFFileDescriptorCallBack callout,
                                           const CFFileDescriptorContext *context);
CFRunLoopSourceRef CFFileDescriptorCreateRunLoopSource(CFAllocatorRef allocator,
                                                       CFFileDescriptorRef f, CFIndex order);
void CFFileDescriptorEnableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes);
void CFFileDescriptorInvalidate(CFFileDescriptorRef f);
__END_DECLS
