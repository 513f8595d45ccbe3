#include "corvane-nm/RequestProcessing/Response.h"

#include <utility>

namespace corvane::RequestProcessing {

void AppState::addTo(JsonObject& dictionary) const {
  dictionary.reserve(5);
  dictionary.emplace("isInstalled", isInstalled);
  dictionary.emplace("isRunning", isRunning);
  dictionary.emplace("isProtectionEnabled", isProtectionEnabled);
  dictionary.emplace("lastCheckTime", lastCheckTime);
  dictionary.emplace("locale", locale);
}

ResponseStatus ResponseStatus::ok(std::optional<std::string> text) {
  ResponseStatus status;
  if (text) status.value_ = std::move(*text);
  return status;
}

ResponseStatus ResponseStatus::error(ErrorValue value) {
  ResponseStatus status;
  status.isError_ = true;
  status.value_ = std::move(value);
  return status;
}

ResponseStatus ResponseStatus::fromClientError(
    const std::optional<ExtensionBrowserApiErrorCode>& clientError) {
  return clientError ? error(*clientError) : ok();
}

void ResponseStatus::addTo(JsonObject& dictionary) const {
  dictionary.emplace("result", isError_ ? "error" : "ok");
  if (const auto* text = std::get_if<std::string>(&value_)) {
    dictionary.emplace("data", *text);
  } else if (const auto* code = std::get_if<ExtensionBrowserApiErrorCode>(&value_)) {
    dictionary.emplace("data", code->description());
  }
}

bool ResponseStatus::operator==(const ResponseStatus& other) const {
  if (isError_ != other.isError_) return false;
  return !isError_ || value_ == other.value_;
}

void Response::addTo(JsonObject& dictionary) const {
  dictionary.reserve(6);
  dictionary.emplace("id", std::to_string(id));
  dictionary.emplace("requestId", requestId);
  appState.addTo(dictionary["appState"].emplace_object());
  if (parameters) dictionary.emplace("parameters", *parameters);
  status.addTo(dictionary);
}

}  // namespace corvane::RequestProcessing
