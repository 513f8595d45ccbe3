#include "Platform/Posix/NotificationChannel.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <notify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <utility>

#include "Platform/File.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

/// At most this many notifications are delivered by one `deliverPending`, so that a flood of posts
/// does not starve other events.
constexpr int mostAtOnce = 1000;

/// With notify(3): one descriptor reports all names. The system makes it with the first
/// registration and closes it with the last.
class DarwinNotifications final : public NotificationChannel {
 public:
  DarwinNotifications(EventLoop& loop, Received received)
      : loop_(loop), received_(std::move(received)) {}

  [[nodiscard]] bool listensTo(const std::string& name) const override {
    return tokens_.contains(name);
  }

  Result<Done> listen(const std::string& name) override {
    // A call that fails may leave the number of a descriptor that it has closed.
    int descriptor = descriptor_;
    int token = 0;
    const std::uint32_t status = notify_register_file_descriptor(
        name.c_str(), &descriptor, tokens_.empty() ? 0 : NOTIFY_REUSE, &token);
    if (status != NOTIFY_STATUS_OK)
      return Failure{FailureCause::other, "notify(3) returned " + std::to_string(status)};
    if (tokens_.empty()) {
      descriptor_ = descriptor;
      ::fcntl(descriptor_, F_SETFL, O_NONBLOCK);
      ::fcntl(descriptor_, F_SETFD, FD_CLOEXEC);
      watch();
    }
    // What is still on its way for an earlier registration is ignored: its token is unknown.
    if (const auto earlier = tokens_.extract(name)) notify_cancel(earlier.mapped());
    tokens_[name] = token;
    return Done{};
  }

  void deliverPending() override {
    for (int count = 0; count < mostAtOnce && receive(); ++count) {
    }
  }

  void post(const std::string& name) override { notify_post(name.c_str()); }

  void close(const std::set<std::string>& /*own*/) override {
    readable_ = {};
    descriptor_ = -1;
    for (const auto& [name, token] : std::exchange(tokens_, {})) notify_cancel(token);
  }

 private:
  void watch() {
    readable_ = loop_.onReadable(descriptor_, [this] { receive(); });
  }

  /// Receives one notification; the loop calls again while there are more, and its other tasks in
  /// between. Returns false if none is there. notify(3) writes the token of a registration as an
  /// integer in network byte order.
  bool receive() {
    if (descriptor_ < 0) return false;
    std::uint32_t token = 0;
    const ssize_t size = ::read(descriptor_, &token, sizeof token);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return false;
    if (size != sizeof token) {
      pause();
      return false;
    }
    isFailing_ = false;
    const auto found = std::find_if(tokens_.begin(), tokens_.end(), [&](const auto& entry) {
      return entry.second == static_cast<int>(ntohl(token));
    });
    if (found != tokens_.end()) received_(found->first);
    return true;
  }

  /// Before it is read again, when the system can't give what has arrived.
  void pause() {
    if (!std::exchange(isFailing_, true))
      SystemLog::write(SystemLog::Severity::error, "notifications are received later: " +
                                                       failureFromErrno("read").description());
    readable_ = loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { watch(); });
  }

  EventLoop& loop_;
  const Received received_;
  std::map<std::string, int> tokens_;  // of the registrations, by name
  int descriptor_ = -1;                // belongs to the registrations
  EventLoop::Registration readable_;   // or the pause before it is watched again
  bool isFailing_ = false;             // the descriptor, which the system log says once
};

}  // namespace

std::unique_ptr<NotificationChannel> NotificationChannel::make(EventLoop& loop,
                                                               std::string /*containerDirectory*/,
                                                               Received received) {
  return std::make_unique<DarwinNotifications>(loop, std::move(received));
}

}  // namespace corvane::Platform
