#include "SharedComponents/RequestSignalling.h"

#include <utility>

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

RequestSignalling::RequestSignalling(Platform::NotificationCenter& center, DispatchQueue& queue,
                                     const std::string& mainAppIdentifier)
    : center_(center), queue_(queue), prefix_(mainAppIdentifier + ".DARWIN_NOTIFICATION.") {}

void RequestSignalling::setHandler(RequestResponseName name, Handler handler) {
  queue_.async([this, name = notificationName(name), handler = std::move(handler)]() mutable {
    install(name, std::move(handler));
  });
}

RequestSignalling::Handler RequestSignalling::handler(RequestResponseName name) {
  Handler result;
  queue_.sync([&] {
    const auto found = handlers_.find(notificationName(name));
    if (found != handlers_.end()) result = found->second;
  });
  return result;
}

std::string RequestSignalling::notificationName(RequestResponseName name) const {
  return prefix_ + rawValue(name);
}

void RequestSignalling::install(const std::string& name, Handler handler) {
  const bool wasObserved = handlers_.erase(name) > 0;
  if (handler) {
    handlers_[name] = std::move(handler);
    if (!wasObserved) {
      center_.observe(name, [this, name] { queue_.async([this, name] { delivered(name); }); });
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
