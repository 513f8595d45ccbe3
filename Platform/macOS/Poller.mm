#include "Platform/Poller.h"

#include <CoreFoundation/CoreFoundation.h>
#include <sys/event.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <map>
#include <span>

#include "Platform/Clocks.h"
#include "Platform/File.h"
#include "Platform/HardStop.h"
#include "Platform/OwnedDescriptor.h"

#pragma clang assume_nonnull begin

namespace corvane::Platform {
namespace {

using Clock = std::chrono::steady_clock;

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
  Implementation() : queue_(::kqueue()) {
    if (!queue_ || !change(0, EVFILT_USER, EV_ADD | EV_CLEAR, 0, 0))
      hardStop("there is no kernel queue left for the event loop");
    queueReader_ = CFFileDescriptorCreate(
        kCFAllocatorDefault, queue_.number(), false,
        [](CFFileDescriptorRef, CFOptionFlags, void* _Nullable) {}, nullptr);
    source_ = CFFileDescriptorCreateRunLoopSource(kCFAllocatorDefault, queueReader_, 0);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source_, kCFRunLoopDefaultMode);
  }

  ~Implementation() {
    CFRunLoopSourceInvalidate(source_);
    CFRelease(source_);
    CFFileDescriptorInvalidate(queueReader_);
    CFRelease(queueReader_);
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  Result<Done> add(std::uint64_t id, int descriptor, Event event) {
    const std::int16_t filter = event == Event::readable ? EVFILT_READ : EVFILT_WRITE;
    if (!isWatchable(descriptor)) {
      alwaysReady_.push_back(id);
      return Done{};
    }
    if (!change(descriptor, filter, EV_ADD, 0, id)) return failureFromErrno("kevent");
    watches_.emplace(id, Watch{descriptor, filter});
    return Done{};
  }

  void remove(std::uint64_t id) {
    std::erase(alwaysReady_, id);
    if (const auto removed = watches_.extract(id))
      change(removed.mapped().descriptor, removed.mapped().filter, EV_DELETE, 0, 0);
  }

  void wait(Clock::time_point end, std::vector<std::uint64_t>& ready) {
    const std::size_t before = ready.size();
    const bool isWoken = take(ready);
    const auto now = steadyNow();
    const bool blocks = !isWoken && ready.size() == before && now < end;
    const std::chrono::duration<double> left = blocks ? end - now : Clock::duration::zero();
    @autoreleasepool {
      if (blocks) CFFileDescriptorEnableCallBacks(queueReader_, kCFFileDescriptorReadCallBack);
      CFRunLoopRunInMode(kCFRunLoopDefaultMode, left.count(), true);
    }
    if (blocks) take(ready);
  }

  void wake() { change(0, EVFILT_USER, 0, NOTE_TRIGGER, 0); }

 private:
  struct Watch {
    int descriptor;
    std::int16_t filter;
  };

  /// Appends the ids that are ready now and returns whether `wake` was called.
  bool take(std::vector<std::uint64_t>& ready) {
    std::array<struct kevent, 16> events = {};
    const timespec atOnce = {};
    const int count = ::kevent(queue_.number(), nullptr, 0, events.data(), events.size(), &atOnce);
    bool isWoken = false;
    for (const auto& event :
         std::span(events).first(static_cast<std::size_t>(std::max(count, 0)))) {
      if (event.filter == EVFILT_USER) {
        isWoken = true;
      } else {
        ready.push_back(reinterpret_cast<std::uintptr_t>(event.udata));
      }
    }
    ready.insert(ready.end(), alwaysReady_.begin(), alwaysReady_.end());
    return isWoken;
  }

  bool change(int what, std::int16_t filter, std::uint16_t flags, std::uint32_t filterFlags,
              std::uint64_t id) {
    struct kevent event = {};
    EV_SET(&event, static_cast<std::uintptr_t>(what), filter, flags, filterFlags, 0,
           reinterpret_cast<void*>(id));
    return ::kevent(queue_.number(), &event, 1, nullptr, 0, nullptr) == 0;
  }

  const OwnedDescriptor queue_;  // child processes do not inherit it
  CFFileDescriptorRef queueReader_;
  CFRunLoopSourceRef source_;
  std::map<std::uint64_t, Watch> watches_;  // those that the queue watches, by id
  std::vector<std::uint64_t> alwaysReady_;  // the other ids
};

Poller::Poller() : implementation_(std::make_unique<Implementation>()) {}

Poller::~Poller() = default;

Result<Done> Poller::add(std::uint64_t id, int descriptor, Event event) {
  return implementation_->add(id, descriptor, event);
}

void Poller::remove(std::uint64_t id) {
  implementation_->remove(id);
}

void Poller::wait(Clock::time_point end, std::vector<std::uint64_t>& ready) {
  implementation_->wait(end, ready);
}

void Poller::wake() {
  implementation_->wake();
}

}  // namespace corvane::Platform

#pragma clang assume_nonnull end
