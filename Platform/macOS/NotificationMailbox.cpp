#include "Platform/NotificationMailbox.h"

#include <fcntl.h>
#include <notify.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <map>

#include "Platform/Posix/NotificationName.h"
#include "Platform/macOS/NotificationCenterImplementation.h"

namespace corvane::Platform {

/// A descriptor of its own, which no other thread reads: for each notification that comes it holds
/// the number of its registration. The descriptor belongs to the registrations and goes with the
/// last. They stay from one `expect` to the next.
class NotificationMailbox::Implementation {
 public:
  explicit Implementation(NotificationCenter::Implementation& center) : center_(center) {}

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
    using namespace std::chrono;
    pollfd arrival = {descriptor_, POLLIN, 0};
    for (;;) {
      const auto left = ceil<milliseconds>(end - steady_clock::now()).count();
      if (left <= 0) return take();
      ::poll(&arrival, 1, static_cast<int>(std::min<decltype(left)>(left, INT_MAX)));
      if (take()) return true;
    }
  }

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
    }
    tokens_[name] = token;
    return true;
  }

  /// Takes one notification; false when there is none.
  bool take() {
    int token = 0;
    return descriptor_ >= 0 && ::read(descriptor_, &token, sizeof token) == sizeof token;
  }

  NotificationCenter::Implementation& center_;
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

}  // namespace corvane::Platform
