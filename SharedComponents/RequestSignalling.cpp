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
      replyLimit_(replyLimit),
      replies_(center) {}

bool RequestSignalling::sendRequest(RequestResponseName name, const std::string& responseId,
                                    const Begin& begin) {
  bool result = true;
  queues_.requests.sync([&] {
    const bool isAwaited = !responseId.empty();
    if (isAwaited) replies_.expect(notificationName(name, responseId));
    result = !begin || begin();
    if (!result) return;
    post(name);
    if (isAwaited) result = awaitReply();
  });
  return result;
}

void RequestSignalling::post(RequestResponseName name) {
  VCLogCDebugTrace({file, sendFunction});
  center_.post(notificationName(name));
}

bool RequestSignalling::awaitReply() {
  const bool came = replies_.waitUntil(std::chrono::steady_clock::now() + replyLimit_);
  VCLogCDebug({file, sendFunction}, "After waiting, result: %@", came ? "true" : "false");
  return came;
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

/// An observation that failed, as on a disk that is full, is tried again with the next handler.
void RequestSignalling::install(const std::string& name, Handler handler) {
  if (!handler) {
    handlers_.erase(name);
    if (observed_.erase(name) > 0) center_.stopObserving(name);
    return;
  }
  handlers_[name] = std::move(handler);
  if (observed_.contains(name)) return;
  const auto queue = [this, name] { queues_.handlers.async([this, name] { delivered(name); }); };
  if (center_.observe(name, queue)) observed_.insert(name);
}

void RequestSignalling::delivered(const std::string& name) {
  const auto found = handlers_.find(name);
  if (found == handlers_.end()) return;
  const Handler handler = found->second;  // it may replace itself while it runs
  handler();
}

}  // namespace corvane
