#include "Platform/NotificationMailbox.h"

#include <fcntl.h>
#include <notify.h>
#include <sys/event.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <map>

#include "Platform/Posix/NotificationName.h"
#include "Platform/Posix/OwnedDescriptor.h"
#include "Platform/macOS/NotificationCenterImplementation.h"

namespace corvane::Platform {
namespace {

/// At a time: the system refuses limits that are too far away.
constexpr std::chrono::hours longestWait{1};

timespec timeOf(std::chrono::nanoseconds span) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(span);
  return {static_cast<std::time_t>(whole.count()), static_cast<long>((span - whole).count())};
}

}  // namespace

/// A descriptor of its own, which no other thread reads: for each notification that comes it holds
/// the number of its registration. The descriptor belongs to the registrations and goes with the
/// last. They stay from one `expect` to the next.
class NotificationMailbox::Implementation {
 public:
  explicit Implementation(NotificationCenter::Implementation& center) : center_(center) {
    change(0, EVFILT_USER, EV_ADD | EV_CLEAR, 0);
  }

  ~Implementation() {
    for (const auto& [name, token] : tokens_) notify_cancel(token);
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  bool expect(const std::string& name) {
    if (center_.queue().isOver() || !listen(name)) return false;
    while (take()) continue;
    return true;
  }

  bool waitUntil(std::chrono::steady_clock::time_point end) {
    for (;;) {
      const auto left = end - std::chrono::steady_clock::now();
      if (left <= left.zero()) return take();
      const timespec limit = timeOf(std::min<std::chrono::nanoseconds>(left, longestWait));
      struct kevent event = {};
      const int count = ::kevent(events_.number(), nullptr, 0, &event, 1, &limit);
      if (count > 0 && event.filter == EVFILT_USER) return take();
      if (take()) return true;
    }
  }

  void interrupt() { change(0, EVFILT_USER, 0, NOTE_TRIGGER); }

 private:
  bool listen(const std::string& name) {
    if (tokens_.contains(name)) return true;
    std::uint32_t status = NOTIFY_STATUS_INVALID_NAME;
    int token = 0;
    if (isNotificationName(name)) {
      status = notify_register_file_descriptor(name.c_str(), &descriptor_,
                                               tokens_.empty() ? 0 : NOTIFY_REUSE, &token);
    }
    if (status != NOTIFY_STATUS_OK) {
      NotificationCenter::Implementation::report(name, status);
      return false;
    }
    if (tokens_.empty()) {
      ::fcntl(descriptor_, F_SETFL, ::fcntl(descriptor_, F_GETFL) | O_NONBLOCK);
      ::fcntl(descriptor_, F_SETFD, FD_CLOEXEC);
      change(descriptor_, EVFILT_READ, EV_ADD, 0);
    }
    tokens_[name] = token;
    return true;
  }

  /// Takes one notification; false when there is none.
  bool take() {
    int token = 0;
    return descriptor_ >= 0 && ::read(descriptor_, &token, sizeof token) == sizeof token;
  }

  void change(int what, std::int16_t filter, std::uint16_t flags, std::uint32_t filterFlags) {
    struct kevent event = {};
    EV_SET(&event, static_cast<std::uintptr_t>(what), filter, flags, filterFlags, 0, nullptr);
    ::kevent(events_.number(), &event, 1, nullptr, 0, nullptr);
  }

  NotificationCenter::Implementation& center_;
  const OwnedDescriptor events_{::kqueue()};
  std::map<std::string, int> tokens_;  // of the registrations, by name
  int descriptor_ = -1;                // -1 until the first of them
};

NotificationMailbox::NotificationMailbox(NotificationCenter& center)
    : implementation_(std::make_unique<Implementation>(center.implementation())) {}

NotificationMailbox::~NotificationMailbox() = default;

bool NotificationMailbox::expect(const std::string& name) {
  return implementation_->expect(name);
}

bool NotificationMailbox::waitUntil(std::chrono::steady_clock::time_point end) {
  return implementation_->waitUntil(end);
}

void NotificationMailbox::interrupt() {
  implementation_->interrupt();
}

}  // namespace corvane::Platform
