#include "Platform/NotificationMailbox.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "Platform/Linux/NotificationCenterImplementation.h"
#include "Platform/Linux/NotificationSocket.h"
#include "Platform/Posix/OwnedDescriptor.h"

namespace corvane::Platform {
namespace {

/// What `poll` takes as its limit at most, in milliseconds.
constexpr std::chrono::milliseconds::rep longestPoll = std::numeric_limits<int>::max();

}  // namespace

/// A socket of its own, which no other thread reads. Its links stay from one `expect` to the next:
/// making one costs more than to forget what came meanwhile.
class NotificationMailbox::Implementation {
 public:
  explicit Implementation(NotificationCenter::Implementation& center) : center_(center) {}

  ~Implementation() {
    if (!socketName_.empty()) center_.removeSocket(socketName_);
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  bool expect(const std::string& name) {
    if (!socket_) socket_ = center_.bindMailbox(socketName_);
    if (!socket_ || !center_.linkMailbox(socketName_, name)) return false;
    socket_->discardAll();
    return true;
  }

  bool waitUntil(std::chrono::steady_clock::time_point end) {
    using std::chrono::ceil, std::chrono::milliseconds, std::chrono::steady_clock;
    std::array<pollfd, 2> arrivals = {
        {{socket_ ? socket_->descriptor() : -1, POLLIN, 0}, {interruption_.number(), POLLIN, 0}}};
    for (;;) {
      const auto left = ceil<milliseconds>(end - steady_clock::now()).count();
      if (left <= 0) return take();
      ::poll(arrivals.data(), arrivals.size(), static_cast<int>(std::min(left, longestPoll)));
      if (arrivals[0].revents != 0 && take()) return true;
      eventfd_t count = 0;
      if (arrivals[1].revents != 0 && ::eventfd_read(interruption_.number(), &count) == 0)
        return take();
    }
  }

  void interrupt() { ::eventfd_write(interruption_.number(), 1); }

 private:
  bool take() {
    const auto name = socket_ ? socket_->receive() : std::nullopt;
    return name && !name->empty();
  }

  NotificationCenter::Implementation& center_;
  std::string socketName_;
  std::optional<NotificationSocket> socket_;
  const OwnedDescriptor interruption_{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
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
