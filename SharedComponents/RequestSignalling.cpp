#include "SharedComponents/RequestSignalling.h"

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

RequestSignalling::RequestSignalling(Platform::NotificationCenter& center, Queues queues,
                                     const std::string& mainAppIdentifier,
                                     std::chrono::milliseconds replyLimit)
    : center_(center),
      queues_(queues),
      prefix_(mainAppIdentifier + ".DARWIN_NOTIFICATION."),
      replyLimit_(replyLimit) {}

// The count is read before anything can be heard: whatever is heard from then on is new.
RequestSignalling::ReplyListener::ReplyListener(RequestSignalling& signalling,
                                                RequestResponseName name,
                                                const std::string& responseId)
    : signalling_(signalling),
      name_(signalling.notificationName(name, responseId)),
      repliesBefore_(signalling.replies_) {
  signalling_.center_.observe(name_, [&signalling] { signalling.replyDelivered(); });
}

RequestSignalling::ReplyListener::~ReplyListener() {
  signalling_.center_.stopObserving(name_);
}

bool RequestSignalling::sendRequest(RequestResponseName name, const std::string& responseId) {
  bool result = true;
  queues_.requests.sync([&] {
    if (responseId.empty()) return post(name);
    const ReplyListener listener(*this, name, responseId);
    result = postAndWait(name, listener);
  });
  return result;
}

bool RequestSignalling::sendRequest(RequestResponseName name, const ReplyListener& listener) {
  bool result = false;
  queues_.requests.sync([&] { result = postAndWait(name, listener); });
  return result;
}

void RequestSignalling::post(RequestResponseName name) {
  VCLogCDebugTrace({file, sendFunction});
  center_.post(notificationName(name));
}

bool RequestSignalling::postAndWait(RequestResponseName name, const ReplyListener& listener) {
  post(name);
  const bool came = awaitReply(listener.repliesBefore_);
  VCLogCDebug({file, sendFunction}, "After waiting, result: %@", came ? "true" : "false");
  return came;
}

/// True as soon as there are other than `repliesBefore`. What earlier replies left in the semaphore
/// makes it look once more, no matter.
bool RequestSignalling::awaitReply(std::uint64_t repliesBefore) {
  const auto end = std::chrono::steady_clock::now() + replyLimit_;
  while (replies_ == repliesBefore) {
    if (!replyCame_.waitUntil(end)) return replies_ != repliesBefore;
  }
  return true;
}

/// On the thread of the notifications.
void RequestSignalling::replyDelivered() {
  ++replies_;
  replyCame_.post();
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
  const bool wasObserved = handlers_.erase(name) > 0;
  if (handler) {
    handlers_[name] = std::move(handler);
    if (!wasObserved) {
      center_.observe(name,
                      [this, name] { queues_.handlers.async([this, name] { delivered(name); }); });
    }
  } else if (wasObserved) {
    center_.stopObserving(name);
  }
}

void RequestSignalling::delivered(const std::string& name) {
  const auto found = handlers_.find(name);
  if (found == handlers_.end()) return;
  const Handler handler = found->second;  // it may replace itself while it runs
  handler();
}

}  // namespace corvane
