#include "SharedComponents/RequestSignalling.h"

#include <utility>

#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

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

RequestSignalling::~RequestSignalling() {
  for (const std::string& name : heardReplies_) center_.stopObserving(name);
}

// The count is read before anything can be heard: whatever is heard from then on is new.
RequestSignalling::ReplyListener::ReplyListener(RequestSignalling& signalling,
                                                RequestResponseName name,
                                                const std::string& responseId)
    : repliesBefore_(signalling.replies()) {
  signalling.hearReplies(signalling.notificationName(name, responseId));
}

bool RequestSignalling::sendRequest(RequestResponseName name, const std::string& responseId) {
  if (responseId.empty()) return postAndWait(name, nullptr);
  const ReplyListener listener(*this, name, responseId);
  return sendRequest(name, listener);
}

bool RequestSignalling::sendRequest(RequestResponseName name, const ReplyListener& listener) {
  return postAndWait(name, &listener);
}

bool RequestSignalling::postAndWait(RequestResponseName name, const ReplyListener* listener) {
  bool result = true;
  queues_.requests.sync([&] {
    const LogPoint here{"SharedComponents/SharedResources", "sendRequest(_:responseId:)"};
    VCLogCDebugTrace(here);
    center_.post(notificationName(name));
    if (listener == nullptr) return;
    std::unique_lock lock(replyMutex_);
    result = replyCame_.wait_for(lock, replyLimit_,
                                 [&] { return replies_ != listener->repliesBefore_; });
    lock.unlock();
    VCLogCDebug(here, "After waiting, result: %@", result ? "true" : "false");
  });
  return result;
}

/// Begins to hear the replies of `name`, unless that was done before. Nothing ends it with the
/// request: to stop would be to wait for the callback that has just ended the request's wait.
void RequestSignalling::hearReplies(const std::string& name) {
  const std::lock_guard lock(heardMutex_);
  if (heardReplies_.contains(name)) return;
  if (center_.observe(name, [this] { replyDelivered(); })) heardReplies_.insert(name);
}

std::uint64_t RequestSignalling::replies() {
  const std::lock_guard lock(replyMutex_);
  return replies_;
}

/// On the thread of the notifications.
void RequestSignalling::replyDelivered() {
  {
    const std::lock_guard lock(replyMutex_);
    ++replies_;
  }
  replyCame_.notify_all();
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
