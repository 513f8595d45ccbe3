#include "Platform/NotificationCenter.h"

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "Platform/Posix/NotificationChannel.h"
#include "Platform/Posix/NotificationName.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {

/// Callbacks come and go, but the channel listens to a name until `withdraw`: dropping a
/// notification that is not observed any more is cheaper than listening again.
class NotificationCenter::Implementation {
 public:
  Implementation(EventLoop& loop, std::string containerDirectory)
      : loop_(loop),
        channel_(NotificationChannel::make(loop, std::move(containerDirectory),
                                           [this](std::string_view name) { deliver(name); })) {}

  Result<Done> observe(const std::string& name, Callback callback, Audience audience) {
    if (!isNotificationName(name)) return Failure{FailureCause::malformed, "not a valid name"};
    auto listening = listen(name);
    if (isWithdrawn_) return Failure{FailureCause::other, "the notification center is closed"};
    callbacks_[name] = std::make_shared<const Callback>(std::move(callback));
    if (audience == Audience::thisProcessOnly) own_.insert(name);
    if (!listening) {
      SystemLog::write(SystemLog::Severity::error,
                       "cannot observe \"" + name + "\" yet: " + listening.failure().description());
      listenAgainSoon();
    }
    return listening;
  }

  void stopObserving(const std::string& name) { callbacks_.erase(name); }

  void deliverPending() { channel_->deliverPending(); }

  void post(const std::string& name) {
    if (isNotificationName(name)) channel_->post(name);
  }

  void withdraw() {
    if (std::exchange(isWithdrawn_, true)) return;
    listenAgain_ = {};
    channel_->close(own_);
  }

 private:
  using SharedCallback = std::shared_ptr<const Callback>;

  Result<Done> listen(const std::string& name) {
    if (isWithdrawn_) return Done{};
    if (channel_->listensTo(name) && callbacks_.contains(name)) return Done{};
    return channel_->listen(name);
  }

  void listenAgainSoon() {
    listenAgain_ =
        loop_.at(EventLoop::now() + EventLoop::retryPause, [this] { listenToMissing(); });
  }

  /// Retries the names that the system refused before.
  void listenToMissing() {
    listenAgain_ = {};
    std::vector<std::string> missing;
    for (const auto& [name, callback] : callbacks_)
      if (!channel_->listensTo(name)) missing.push_back(name);
    for (const std::string& name : missing) {
      if (isWithdrawn_) return;
      if (!listen(name)) {
        listenAgainSoon();
      } else if (!own_.contains(name)) {
        deliver(name);
      }
    }
  }

  /// The callback may replace or remove itself.
  void deliver(std::string_view name) {
    const auto found = callbacks_.find(name);
    if (found == callbacks_.end()) return;
    const SharedCallback callback = found->second;
    (*callback)();
  }

  EventLoop& loop_;
  std::map<std::string, SharedCallback, std::less<>> callbacks_;
  std::set<std::string> own_;  // names that no other process observes
  EventLoop::Registration listenAgain_;
  bool isWithdrawn_ = false;
  const std::unique_ptr<NotificationChannel> channel_;
};

NotificationCenter::NotificationCenter(EventLoop& loop, std::string containerDirectory)
    : implementation_(std::make_unique<Implementation>(loop, std::move(containerDirectory))) {}

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
  implementation_->post(name);
}

void NotificationCenter::withdraw() {
  implementation_->withdraw();
}

}  // namespace corvane::Platform
