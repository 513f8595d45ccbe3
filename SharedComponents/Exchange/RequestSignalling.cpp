#include "SharedComponents/Exchange/RequestSignalling.h"

#include <utility>

#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {
namespace {

constexpr char file[] = "SharedComponents/SharedResources";
constexpr char sendFunction[] = "sendRequest(_:responseId:)";

}  // namespace

std::string rawValue(RequestResponseName name) {
  switch (name) {
    case RequestResponseName::exchange:
      return "exchange";
    case RequestResponseName::ready:
      return "ready";
    case RequestResponseName::appState:
      return "appState";
    case RequestResponseName::appReconfig:
      return "appReconfig";
  }
  return "";
}

/// One request, from its turn in the queue to its outcome.
struct RequestSignalling::Request {
  RequestResponseName name;
  std::string replyName;  // the notification of its reply; empty: do not wait
  Begin begin;
  UniqueFunction<void(Outcome)> done;
  SerialQueue::Hold hold = {};
  bool isPosted = false;
  bool isAnswered = false;
  Platform::EventLoop::Registration timer = {};
};

RequestSignalling::RequestSignalling(Platform::EventLoop& loop,
                                     Platform::NotificationCenter& center, Queues queues,
                                     const std::string& mainAppIdentifier,
                                     std::chrono::milliseconds replyLimit)
    : loop_(loop),
      center_(center),
      queues_(queues),
      prefix_(mainAppIdentifier + ".DARWIN_NOTIFICATION."),
      replyLimit_(replyLimit) {}

RequestSignalling::~RequestSignalling() = default;

void RequestSignalling::sendRequest(RequestResponseName name, const std::string& responseId,
                                    Begin begin, UniqueFunction<void(Outcome)> done) {
  auto request = std::make_unique<Request>(
      Request{name, responseId.empty() ? std::string() : notificationName(name, responseId),
              std::move(begin), std::move(done)});
  queues_.requests.async(
      [this, request = std::move(request)]() mutable { start(std::move(request)); });
}

/// Begins to observe the reply before the main application can see the request.
void RequestSignalling::start(std::unique_ptr<Request> request) {
  request->hold = queues_.requests.hold();
  pending_ = std::move(request);
  if (!pending_->replyName.empty()) {
    (void)center_.observe(
        pending_->replyName, [this] { replyReceived(); },
        Platform::NotificationCenter::Audience::thisProcessOnly);
  }
  Begin begin = std::move(pending_->begin);  // the request may end inside the call
  if (!begin) return post();
  begin([this](bool isPublished) {
    if (isPublished) return post();
    finish(Outcome::refused);
  });
}

void RequestSignalling::post() {
  VCLogCDebugTrace({file, sendFunction});
  center_.post(notificationName(pending_->name));
  pending_->isPosted = true;
  replyDeadline_ = Platform::EventLoop::now() + replyLimit_;
  if (pending_->isAnswered || pending_->replyName.empty()) return finish(Outcome::answered);
  pending_->timer = loop_.at(replyDeadline_, [this] { deadlinePassed(); });
}

/// A reply that arrived in time while the loop was busy still counts.
void RequestSignalling::deadlinePassed() {
  center_.deliverPending();
  if (pending_ && !pending_->isAnswered) finish(Outcome::timedOut);
}

/// Finishes the request, but not before the handlers of notifications that were received earlier.
/// Those are still queued if several were received together.
void RequestSignalling::replyReceived() {
  if (std::exchange(pending_->isAnswered, true) || !pending_->isPosted) return;
  if (!queues_.handlers.hasTasks()) return finish(Outcome::answered);
  pending_->timer = {};
  loop_.post([this] { finish(Outcome::answered); });
}

void RequestSignalling::finish(Outcome outcome) {
  const auto request = std::move(pending_);
  if (!request->replyName.empty()) {
    if (request->isPosted) {
      VCLogCDebug({file, sendFunction}, "After waiting, result: %@",
                  outcome == Outcome::answered ? "true" : "false");
    }
    center_.stopObserving(request->replyName);
  }
  request->done(outcome);
}

void RequestSignalling::setHandler(RequestResponseName name, Handler handler) {
  queues_.handlers.async(
      [this, name = notificationName(name), handler = std::move(handler)]() mutable {
        install(name, std::move(handler));
      });
}

RequestSignalling::Handler RequestSignalling::handler(RequestResponseName name) {
  Handler result;
  queues_.handlers.sync([&] {
    const auto found = handlers_.find(notificationName(name));
    if (found != handlers_.end()) result = found->second;
  });
  return result;
}

std::string RequestSignalling::notificationName(RequestResponseName name) const {
  return prefix_ + rawValue(name);
}

std::string RequestSignalling::notificationName(RequestResponseName name,
                                                const std::string& responseId) const {
  return notificationName(name) + "." + responseId;
}

void RequestSignalling::install(const std::string& name, Handler handler) {
  if (!handler) {
    handlers_.erase(name);
    if (observed_.erase(name) > 0) center_.stopObserving(name);
    return;
  }
  handlers_[name] = std::move(handler);
  if (!observed_.insert(name).second) return;
  // If this fails, the center tries again by itself.
  (void)center_.observe(
      name, [this, name] { queues_.handlers.async([this, name] { runHandler(name); }); });
}

void RequestSignalling::runHandler(const std::string& name) {
  const auto found = handlers_.find(name);
  if (found == handlers_.end()) return;
  const Handler handler = found->second;  // a copy, as it may replace itself while it runs
  handler();
}

}  // namespace corvane
