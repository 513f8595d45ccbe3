// The part of CoreFoundation that the C++ of Platform/macOS uses, by the pages "CFRunLoop",
// "CFRunLoopSource", "CFFileDescriptor" and "CFBundle" of Apple's documentation.
#include <CoreFoundation/CoreFoundation.h>
#include <poll.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <utility>
#include <vector>

#include "tests/Darwin/Control.h"

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<int> objects = 0;

/// "Memory Management Programming Guide for Core Foundation": who creates an object owns it; what
/// keeps it, retains it; it goes with its last owner.
struct Object {
  Object() { ++objects; }
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() { --objects; }
  std::atomic<int> owners = 1;
};

template <class Kind>
Kind* retain(Kind* object) {
  ++object->owners;
  return object;
}

}  // namespace

struct __CFFileDescriptor final : Object {
  CFFileDescriptorNativeDescriptor descriptor = -1;
  CFFileDescriptorCallBack callout = nullptr;
  bool isEnabled = false;
};

struct __CFRunLoopSource final : Object {
  explicit __CFRunLoopSource(CFFileDescriptorRef reader) : file(retain(reader)) {}
  __CFRunLoopSource(const __CFRunLoopSource&) = delete;
  __CFRunLoopSource& operator=(const __CFRunLoopSource&) = delete;
  ~__CFRunLoopSource() override { CFRelease(file); }
  const CFFileDescriptorRef file;
  CFRunLoopRef loop = nullptr;
};

struct __CFRunLoop {
  std::vector<CFRunLoopSourceRef> sources;  // of the default mode, each retained
};

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFRunLoopMode kCFRunLoopDefaultMode = nullptr;

/// CFRelease.
void CFRelease(CFTypeRef cf) {
  auto* const object = static_cast<Object*>(const_cast<void*>(cf));
  if (--object->owners == 0) delete object;
}

/// CFRunLoopGetCurrent: each thread has one, which is not released.
CFRunLoopRef CFRunLoopGetCurrent() {
  static thread_local __CFRunLoop loop;
  return &loop;
}

/// CFRunLoopAddSource: retains the source. To one run loop only, here.
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode /*mode*/) {
  if (std::exchange(source->loop, rl) != nullptr) std::abort();
  rl->sources.push_back(retain(source));
}

/// CFRunLoopSourceInvalidate: removes it from its run loop.
void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source) {
  std::erase(source->loop->sources, source);
  CFRelease(source);
}

/// CFFileDescriptorCreate: the descriptor stays the caller's.
CFFileDescriptorRef CFFileDescriptorCreate(CFAllocatorRef /*allocator*/,
                                           CFFileDescriptorNativeDescriptor fd,
                                           Boolean closeOnInvalidate,
                                           CFFileDescriptorCallBack callout,
                                           const CFFileDescriptorContext* /*context*/) {
  if (closeOnInvalidate != 0) std::abort();
  auto* const file = new __CFFileDescriptor;
  file->descriptor = fd;
  file->callout = callout;
  return file;
}

/// CFFileDescriptorCreateRunLoopSource: the caller owns the result.
CFRunLoopSourceRef CFFileDescriptorCreateRunLoopSource(CFAllocatorRef /*allocator*/,
                                                       CFFileDescriptorRef f, CFIndex /*order*/) {
  return new __CFRunLoopSource(f);
}

/// CFFileDescriptorEnableCallBacks: callbacks are off at first, and off again after each, until
/// they are enabled again.
void CFFileDescriptorEnableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes) {
  if ((callBackTypes & kCFFileDescriptorReadCallBack) != 0) f->isEnabled = true;
}

/// CFFileDescriptorInvalidate: no callback comes any more.
void CFFileDescriptorInvalidate(CFFileDescriptorRef f) {
  f->isEnabled = false;
}

namespace {

/// Waits until `end` for the sources and calls those that are ready. Whether there was one.
bool turnOnce(CFRunLoopRef loop, Clock::time_point end) {
  std::vector<pollfd> descriptors;
  std::vector<CFFileDescriptorRef> files;
  for (const CFRunLoopSourceRef source : loop->sources) {
    if (!source->file->isEnabled) continue;
    descriptors.push_back({source->file->descriptor, POLLIN, 0});
    files.push_back(retain(source->file));
  }
  const auto left = std::clamp<Clock::duration>(end - Clock::now(), {}, std::chrono::hours(1));
  const timespec limit = {std::chrono::duration_cast<std::chrono::seconds>(left).count(),
                          (left % std::chrono::seconds(1)).count()};
  ::ppoll(descriptors.data(), descriptors.size(), &limit, nullptr);
  bool isHandled = false;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (descriptors[i].revents != 0 && files[i]->isEnabled) {
      files[i]->isEnabled = false;
      files[i]->callout(files[i], kCFFileDescriptorReadCallBack, nullptr);
      isHandled = true;
    }
    CFRelease(files[i]);
  }
  return isHandled;
}

}  // namespace

/// CFRunLoopRunInMode: ends at once without a source; with 0 seconds it passes once. The result is
/// not used, nor a run that goes on after a source.
CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode /*mode*/, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled) {
  if (returnAfterSourceHandled == 0) std::abort();
  constexpr CFTimeInterval longest = 1e9;
  CFRunLoopRef loop = CFRunLoopGetCurrent();
  const auto end =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(
                         std::chrono::duration<double>(std::clamp(seconds, 0.0, longest)));
  while (!loop->sources.empty() && !turnOnce(loop, end) && Clock::now() < end) continue;
  return {};
}

/// CFBundleGetMainBundle: none, as in a program for the command line without a bundle; so the
/// other two are never called.
CFBundleRef CFBundleGetMainBundle() {
  return nullptr;
}
CFStringRef CFBundleGetIdentifier(CFBundleRef /*bundle*/) {
  std::abort();
}
Boolean CFStringGetCString(CFStringRef /*string*/, char* /*buffer*/, CFIndex /*bufferSize*/,
                           CFStringEncoding /*encoding*/) {
  std::abort();
}

int corvane::darwin::liveObjects() {
  return objects;
}

// Clang's document on automatic reference counting. Nothing here is released later.
extern "C" void* objc_autoreleasePoolPush() {
  return nullptr;
}

extern "C" void objc_autoreleasePoolPop(void* /*pool*/) {}
