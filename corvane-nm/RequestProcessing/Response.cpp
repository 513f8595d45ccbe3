#include "corvane-nm/RequestProcessing/Response.h"

#include <utility>

namespace corvane::RequestProcessing {

JsonObject AppState::toDictionary() const {
  return {{"isInstalled", isInstalled},
          {"isRunning", isRunning},
          {"isProtectionEnabled", isProtectionEnabled},
          {"lastCheckTime", lastCheckTime},
          {"locale", locale}};
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

JsonObject ResponseStatus::toDictionary() const {
  JsonObject result{{"result", isError_ ? "error" : "ok"}};
  if (const auto* text = std::get_if<std::string>(&value_)) {
    result["data"] = *text;
  } else if (const auto* code = std::get_if<ExtensionBrowserApiErrorCode>(&value_)) {
    result["data"] = code->description();
  }
  return result;
}

bool ResponseStatus::operator==(const ResponseStatus& other) const {
  if (isError_ != other.isError_) return false;
  return !isError_ || value_ == other.value_;
}

JsonObject Response::toDictionary() const {
  JsonObject result;
  result.reserve(6);
  result["id"] = std::to_string(id);
  result["requestId"] = requestId;
  result["appState"] = appState.toDictionary();
  if (parameters) result["parameters"] = *parameters;
  for (const auto& entry : status.toDictionary()) result[entry.key()] = entry.value();
  return result;
}

}  // namespace corvane::RequestProcessing
