#include "corvane-nm/RequestProcessing/Response.h"

#include <boost/json/monotonic_resource.hpp>
#include <utility>

namespace corvane::RequestProcessing {
namespace {

/// Where all values of one reply lie together: it is built on one thread and goes on another, and
/// there at once.
boost::json::storage_ptr makeReplyStorage() {
  constexpr std::size_t mostReplies = 1024;  // bytes; longer ones take more such pieces
  return boost::json::make_shared_resource<boost::json::monotonic_resource>(mostReplies);
}

}  // namespace

void AppState::addTo(JsonObject& dictionary) const {
  dictionary.reserve(5);
  dictionary["isInstalled"] = isInstalled;
  dictionary["isRunning"] = isRunning;
  dictionary["isProtectionEnabled"] = isProtectionEnabled;
  dictionary["lastCheckTime"] = lastCheckTime;
  dictionary["locale"] = locale;
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
  dictionary["result"] = isError_ ? "error" : "ok";
  if (const auto* text = std::get_if<std::string>(&value_)) {
    dictionary["data"] = *text;
  } else if (const auto* code = std::get_if<ExtensionBrowserApiErrorCode>(&value_)) {
    dictionary["data"] = code->description();
  }
}

bool ResponseStatus::operator==(const ResponseStatus& other) const {
  if (isError_ != other.isError_) return false;
  return !isError_ || value_ == other.value_;
}

JsonObject Response::toDictionary() const {
  JsonObject result(makeReplyStorage());
  result.reserve(6);
  result["id"] = std::to_string(id);
  result["requestId"] = requestId;
  appState.addTo(result["appState"].emplace_object());
  if (parameters) result["parameters"] = *parameters;
  status.addTo(result);
  return result;
}

}  // namespace corvane::RequestProcessing
