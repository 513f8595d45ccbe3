#include "Platform/NotificationMailbox.h"

#include <poll.h>

#include <optional>

#include "Platform/Linux/NotificationCenterImplementation.h"
#include "Platform/Linux/NotificationSocket.h"

namespace corvane::Platform {

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
    while (take()) continue;
    return true;
  }

  bool waitUntil(std::chrono::steady_clock::time_point end) {
    using namespace std::chrono;
    pollfd arrival = {socket_ ? socket_->descriptor() : -1, POLLIN, 0};
    for (;;) {
      const auto left = ceil<milliseconds>(end - steady_clock::now()).count();
      if (left <= 0) return take();
      ::poll(&arrival, 1, static_cast<int>(left));
      if (take()) return true;
    }
  }

 private:
  bool take() {
    const auto name = socket_ ? socket_->receive() : std::nullopt;
    return name && !name->empty();
  }

  NotificationCenter::Implementation& center_;
  std::string socketName_;
  std::optional<NotificationSocket> socket_;
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
