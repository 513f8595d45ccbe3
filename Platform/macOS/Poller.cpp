#include "Platform/Poller.h"

#include <CoreFoundation/CoreFoundation.h>
#include <sys/event.h>
#include <sys/stat.h>

#include <array>
#include <map>

#include "Platform/Clocks.h"
#include "Platform/File.h"
#include "Platform/HardStop.h"
#include "Platform/OwnedDescriptor.h"

// What @autoreleasepool compiles to: clang's document of ARC fixes both as part of the
// runtime.
extern "C" void* objc_autoreleasePoolPush();
extern "C" void objc_autoreleasePoolPop(void* pool);

namespace corvane::Platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t wakeId = 0;

/// Everything else counts as always ready: a kernel queue reports neither the end of a regular file
/// nor that of every device.
bool isWatchable(int descriptor) {
  struct stat status = {};
  return ::fstat(descriptor, &status) == 0 &&
         (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

}  // namespace

/// A kernel queue watches the descriptors. It is itself a source of the thread's run loop, which
/// waits for it and meanwhile runs the callbacks that the system has for the main thread.
class Poller::Implementation {
 public:
  struct Watch {
    int descriptor;
    std::int16_t filter;
  };

  Implementation() : queue(::kqueue()) {
    if (!queue || !change(0, EVFILT_USER, EV_ADD | EV_CLEAR, 0, wakeId))
      hardStop("there is no kernel queue left for the event loop");
    queueReader = CFFileDescriptorCreate(
        kCFAllocatorDefault, queue.number(), false,
        [](CFFileDescriptorRef, CFOptionFlags, void*) {}, nullptr);
    source = CFFileDescriptorCreateRunLoopSource(kCFAllocatorDefault, queueReader, 0);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
  }

  ~Implementation() {
    CFRunLoopSourceInvalidate(source);
    CFRelease(source);
    CFFileDescriptorInvalidate(queueReader);
    CFRelease(queueReader);
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  /// Appends the ids that are ready now. False when there are none and `wake` was not called.
  bool take(std::vector<std::uint64_t>& ready) {
    std::array<struct kevent, 16> events = {};
    const timespec atOnce = {};
    const int count = ::kevent(queue.number(), nullptr, 0, events.data(), events.size(), &atOnce);
    for (int i = 0; i < count; ++i) {
      const auto id = reinterpret_cast<std::uintptr_t>(events[static_cast<std::size_t>(i)].udata);
      if (id != wakeId) ready.push_back(id);
    }
    ready.insert(ready.end(), alwaysReady.begin(), alwaysReady.end());
    return count > 0 || !alwaysReady.empty();
  }

  bool change(int what, std::int16_t filter, std::uint16_t flags, std::uint32_t filterFlags,
              std::uint64_t id) {
    struct kevent event = {};
    EV_SET(&event, static_cast<std::uintptr_t>(what), filter, flags, filterFlags, 0,
           reinterpret_cast<void*>(id));
    return ::kevent(queue.number(), &event, 1, nullptr, 0, nullptr) == 0;
  }

  const OwnedDescriptor queue;  // child processes do not inherit it
  CFFileDescriptorRef queueReader;
  CFRunLoopSourceRef source;
  std::map<std::uint64_t, Watch> watches;  // those that the queue watches, by id
  std::vector<std::uint64_t> alwaysReady;  // the other ids
};

Poller::Poller() : implementation_(std::make_unique<Implementation>()) {}

Poller::~Poller() = default;

Result<Done> Poller::add(std::uint64_t id, int descriptor, Event event) {
  const std::int16_t filter = event == Event::readable ? EVFILT_READ : EVFILT_WRITE;
  if (!isWatchable(descriptor)) {
    implementation_->alwaysReady.push_back(id);
    return Done{};
  }
  if (!implementation_->change(descriptor, filter, EV_ADD, 0, id))
    return failureFromErrno("kevent");
  implementation_->watches.emplace(id, Implementation::Watch{descriptor, filter});
  return Done{};
}

void Poller::remove(std::uint64_t id) {
  std::erase(implementation_->alwaysReady, id);
  if (const auto removed = implementation_->watches.extract(id))
    implementation_->change(removed.mapped().descriptor, removed.mapped().filter, EV_DELETE, 0, 0);
}

void Poller::wait(Clock::time_point end, std::vector<std::uint64_t>& ready) {
  const bool isReady = implementation_->take(ready);
  const auto now = steadyNow();
  const bool blocks = !isReady && now < end;
  const std::chrono::duration<double> left = blocks ? end - now : Clock::duration::zero();
  if (blocks)
    CFFileDescriptorEnableCallBacks(implementation_->queueReader, kCFFileDescriptorReadCallBack);
  void* const pool = objc_autoreleasePoolPush();
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, left.count(), true);
  objc_autoreleasePoolPop(pool);
  if (blocks) implementation_->take(ready);
}

void Poller::wake() {
  implementation_->change(0, EVFILT_USER, 0, NOTE_TRIGGER, 0);
}

}  // namespace corvane::Platform
