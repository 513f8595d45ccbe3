#include "Platform/NotificationCenter.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <notify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <map>
#include <span>
#include <utility>
#include <vector>

#include "Platform/Posix/NotificationName.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

/// At most this many reads, each of up to 64 notifications, per iteration of the loop, so that a
/// flood of posts does not starve other events.
constexpr int mostReads = 16;

}  // namespace

/// One descriptor, read by the loop, reports all names. Registrations stay until `withdraw`: names
/// are few, and the system closes the descriptor with its last registration.
class NotificationCenter::Implementation {
 public:
  explicit Implementation(EventLoop& loop) : loop_(loop) {}

  Result<Done> observe(const std::string& name, Callback callback, Audience audience) {
    stopObserving(name);
    if (registrations_.contains(name)) deliverPending();
    if (isWithdrawn_) return Failure{FailureCause::other, "the notification center is closed"};
    if (!isNotificationName(name)) return Failure{FailureCause::malformed, "not a valid name"};
    auto shared = std::make_shared<const Callback>(std::move(callback));
    if (const std::uint32_t status = listen(name); status != NOTIFY_STATUS_OK) {
      Failure failure{
          FailureCause::other,
          "cannot observe \"" + name + "\" yet: notify(3) returned " + std::to_string(status)};
      SystemLog::write(SystemLog::Severity::error, failure.text);
      missing_[name] = {std::move(shared), audience};
      listenAgain_ =
          loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { listenToMissing(); });
      return failure;
    }
    registrations_[name].callback = std::move(shared);
    return Done{};
  }

  void stopObserving(const std::string& name) {
    missing_.erase(name);
    const auto found = registrations_.find(name);
    if (found == registrations_.end()) return;
    const SharedCallback removed = std::move(found->second.callback);
  }

  /// Calls the callbacks of all that is pending. A callback may end up here again: that call goes
  /// on with what this one has left.
  void deliverPending() {
    if (descriptor_ >= 0) receive();
    while (!pending_.empty()) {
      const int token = pending_.front();
      pending_.pop_front();
      const auto found =
          std::find_if(registrations_.begin(), registrations_.end(),
                       [&](const auto& entry) { return entry.second.token == token; });
      if (found == registrations_.end()) continue;
      if (const SharedCallback callback = found->second.callback) (*callback)();
    }
  }

  void withdraw() {
    isWithdrawn_ = true;
    readable_ = {};
    listenAgain_ = {};
    pending_.clear();
    for (const auto& [name, registration] : std::exchange(registrations_, {}))
      notify_cancel(registration.token);
    descriptor_ = -1;
  }

 private:
  using SharedCallback = std::shared_ptr<const Callback>;

  struct Registration {
    int token = 0;
    SharedCallback callback;  // null while the name is not observed
  };

  /// A name that could not be registered yet.
  struct Missing {
    SharedCallback callback;
    Audience audience = Audience::manyProcesses;
  };

  void listenToMissing() {
    std::vector<std::string> late;
    for (auto at = missing_.begin(); at != missing_.end();) {
      if (listen(at->first) != NOTIFY_STATUS_OK) {
        ++at;
        continue;
      }
      registrations_[at->first].callback = at->second.callback;
      if (at->second.audience == Audience::manyProcesses) late.push_back(at->first);
      at = missing_.erase(at);
    }
    listenAgain_ = {};
    if (!missing_.empty())
      listenAgain_ =
          loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { listenToMissing(); });
    for (const std::string& name : late) {
      const auto found = registrations_.find(name);
      if (found == registrations_.end()) continue;
      if (const SharedCallback callback = found->second.callback) (*callback)();
    }
  }

  /// Registers `name` unless it is registered. Returns the status of notify(3).
  std::uint32_t listen(const std::string& name) {
    if (registrations_.contains(name)) return NOTIFY_STATUS_OK;
    // A call that fails may leave the number of a descriptor that it has closed.
    int descriptor = descriptor_;
    int token = 0;
    const std::uint32_t status = notify_register_file_descriptor(
        name.c_str(), &descriptor, registrations_.empty() ? 0 : NOTIFY_REUSE, &token);
    if (status != NOTIFY_STATUS_OK) return status;
    if (registrations_.empty()) {
      descriptor_ = descriptor;
      ::fcntl(descriptor_, F_SETFL, O_NONBLOCK);
      ::fcntl(descriptor_, F_SETFD, FD_CLOEXEC);
      watch();
    }
    registrations_[name].token = token;
    return status;
  }

  /// Reads what there is, but not without end: the loop asks again. notify(3) writes each token as
  /// an integer in network byte order.
  void receive() {
    std::array<std::uint32_t, 64> tokens = {};
    ssize_t size = 1;
    for (int reads = 0; reads < mostReads && size > 0; ++reads) {
      size = ::read(descriptor_, tokens.data(), sizeof tokens);
      if (size <= 0) break;
      for (const std::uint32_t token :
           std::span(tokens).first(static_cast<std::size_t>(size) / sizeof tokens[0]))
        pending_.push_back(static_cast<int>(ntohl(token)));
    }
    if (size > 0 || (size < 0 && (errno == EAGAIN || errno == EINTR))) return;
    SystemLog::write(SystemLog::Severity::error, "notifications are received later");
    readable_ = loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { watch(); });
  }

  void watch() {
    readable_ = loop_.onReadable(descriptor_, [this] { deliverPending(); });
  }

  EventLoop& loop_;
  std::map<std::string, Registration> registrations_;
  int descriptor_ = -1;                     // belongs to the registrations
  EventLoop::Registration readable_;        // or the pause before it is watched again
  std::map<std::string, Missing> missing_;  // that the system refused so far
  EventLoop::Registration listenAgain_;
  std::deque<int> pending_;  // tokens that were read
  bool isWithdrawn_ = false;
};

NotificationCenter::NotificationCenter(EventLoop& loop, std::string /*containerFolder*/)
    : implementation_(std::make_unique<Implementation>(loop)) {}

NotificationCenter::~NotificationCenter() {
  implementation_->withdraw();
}

Result<Done> NotificationCenter::observe(const std::string& name, Callback callback,
                                         Audience audience) {
  return implementation_->observe(name, std::move(callback), audience);
}

void NotificationCenter::stopObserving(const std::string& name) {
  implementation_->stopObserving(name);
}

void NotificationCenter::deliverPending() {
  implementation_->deliverPending();
}

void NotificationCenter::post(const std::string& name) {
  if (isNotificationName(name)) notify_post(name.c_str());
}

void NotificationCenter::withdraw() {
  implementation_->withdraw();
}

}  // namespace corvane::Platform
