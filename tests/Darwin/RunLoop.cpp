// The part of CoreFoundation that Platform/macOS uses, by the pages "CFRunLoop", "CFRunLoopSource",
// "CFFileDescriptor", "CFString" and "CFBundle" of Apple's documentation.
#include <CoreFoundation/CoreFoundation.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <string>
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

struct __CFString final : Object {
  std::string text;
};

struct __CFFileDescriptor final : Object {
  CFFileDescriptorNativeDescriptor descriptor = -1;
  bool closesIt = false;
  CFFileDescriptorCallBack callout = nullptr;
  bool isEnabled = false;
  bool isValid = true;
};

struct __CFRunLoopSource final : Object {
  explicit __CFRunLoopSource(CFFileDescriptorRef reader) : file(retain(reader)) {}
  __CFRunLoopSource(const __CFRunLoopSource&) = delete;
  __CFRunLoopSource& operator=(const __CFRunLoopSource&) = delete;
  ~__CFRunLoopSource() override { CFRelease(file); }
  const CFFileDescriptorRef file;
  std::vector<CFRunLoopRef> loops;
  bool isValid = true;
};

struct __CFRunLoop {
  std::vector<CFRunLoopSourceRef> sources;  // of the default mode, each retained
  bool isStopped = false;
};

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFRunLoopMode kCFRunLoopDefaultMode = nullptr;

/// CFRelease.
void CFRelease(CFTypeRef cf) {
  auto* const object = static_cast<Object*>(const_cast<void*>(cf));
  if (--object->owners == 0) delete object;
}

/// CFStringGetCString: false when the buffer is too small.
Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                           CFStringEncoding /*encoding*/) {
  const std::string& text = theString->text;
  if (static_cast<CFIndex>(text.size()) >= bufferSize) return 0;
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  return 1;
}

/// CFRunLoopGetCurrent: each thread has one, which is not released.
CFRunLoopRef CFRunLoopGetCurrent() {
  static thread_local __CFRunLoop loop;
  return &loop;
}

/// CFRunLoopAddSource: retains the source; adding it twice is adding it once.
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode /*mode*/) {
  if (!source->isValid || std::ranges::count(rl->sources, source) > 0) return;
  rl->sources.push_back(retain(source));
  source->loops.push_back(rl);
}

/// CFRunLoopSourceInvalidate: removes it from all run loops.
void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source) {
  source->isValid = false;
  for (CFRunLoopRef loop : std::exchange(source->loops, {})) {
    std::erase(loop->sources, source);
    CFRelease(source);
  }
}

/// CFRunLoopStop: ends the current activation; none that comes later.
void CFRunLoopStop(CFRunLoopRef rl) {
  rl->isStopped = true;
}

/// CFFileDescriptorCreate: closes the descriptor only if it is told to.
CFFileDescriptorRef CFFileDescriptorCreate(CFAllocatorRef /*allocator*/,
                                           CFFileDescriptorNativeDescriptor fd,
                                           Boolean closeOnInvalidate,
                                           CFFileDescriptorCallBack callout,
                                           const CFFileDescriptorContext* /*context*/) {
  auto* const file = new __CFFileDescriptor;
  file->descriptor = fd;
  file->closesIt = closeOnInvalidate != 0;
  file->callout = callout;
  return file;
}

/// CFFileDescriptorCreateRunLoopSource: the caller owns the result; none of an invalid one.
CFRunLoopSourceRef CFFileDescriptorCreateRunLoopSource(CFAllocatorRef /*allocator*/,
                                                       CFFileDescriptorRef f, CFIndex /*order*/) {
  return f->isValid ? new __CFRunLoopSource(f) : nullptr;
}

/// CFFileDescriptorEnableCallBacks: callbacks are off at first, and off again after each, until
/// they are enabled again.
void CFFileDescriptorEnableCallBacks(CFFileDescriptorRef f, CFOptionFlags callBackTypes) {
  if ((callBackTypes & kCFFileDescriptorReadCallBack) != 0) f->isEnabled = f->isValid;
}

/// CFFileDescriptorInvalidate: no callback comes any more.
void CFFileDescriptorInvalidate(CFFileDescriptorRef f) {
  if (f->isValid && f->closesIt) ::close(f->descriptor);
  f->isValid = false;
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

/// CFRunLoopRunInMode: ends at once without a source; with 0 seconds it passes once.
CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode /*mode*/, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled) {
  enum : CFRunLoopRunResult { finished = 1, stopped, timedOut, handledSource };
  constexpr CFTimeInterval longest = 1e9;
  CFRunLoopRef loop = CFRunLoopGetCurrent();
  const auto end =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(
                         std::chrono::duration<double>(std::clamp(seconds, 0.0, longest)));
  loop->isStopped = false;
  for (;;) {
    if (loop->sources.empty()) return finished;
    const bool isHandled = turnOnce(loop, end);
    if (loop->isStopped) return stopped;
    if (isHandled && returnAfterSourceHandled != 0) return handledSource;
    if (Clock::now() >= end) return timedOut;
  }
}

/// CFBundleGetMainBundle: none, as in a program for the command line without a bundle.
CFBundleRef CFBundleGetMainBundle() {
  return nullptr;
}

/// CFBundleGetIdentifier.
CFStringRef CFBundleGetIdentifier(CFBundleRef /*bundle*/) {
  return nullptr;
}

int corvane::darwin::liveObjects() {
  return objects;
}

// Clang's document on automatic reference counting. Nothing here is released later.
extern "C" void* objc_autoreleasePoolPush() {
  return nullptr;
}

extern "C" void objc_autoreleasePoolPop(void* /*pool*/) {}
