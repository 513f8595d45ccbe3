#include "corvane-nm/RequestProcessing/Response.h"

namespace corvane::RequestProcessing {

namespace {

void add(JsonWriter& object, const ReplyParameter& parameter) {
  if (const auto* flag = std::get_if<bool>(&parameter.value)) object.boolean(parameter.key, *flag);
  if (const auto* number = std::get_if<std::int64_t>(&parameter.value))
    object.integer(parameter.key, *number);
  if (const auto* text = std::get_if<std::string>(&parameter.value))
    object.text(parameter.key, *text);
}

}  // namespace

void AppState::addTo(JsonWriter& object) const {
  object.boolean("isInstalled", isInstalled);
  object.boolean("isRunning", isRunning);
  object.boolean("isProtectionEnabled", isProtectionEnabled);
  object.text("lastCheckTime", VCSDate::iso8601String(lastCheckTime));
  object.text("locale", locale);
}

ResponseStatus ResponseStatus::fromClientError(
    const std::optional<ExtensionBrowserApiErrorCode>& clientError) {
  return clientError ? error(clientError->description()) : ok();
}

std::optional<std::string_view> ResponseStatus::text() const {
  if (const auto* fixed = std::get_if<std::string_view>(&text_)) return *fixed;
  if (const auto* own = std::get_if<std::string>(&text_)) return *own;
  return std::nullopt;
}

void ResponseStatus::addTo(JsonWriter& object) const {
  object.text("result", isError_ ? "error" : "ok");
  if (const auto data = text()) object.text("data", *data);
}

bool ResponseStatus::operator==(const ResponseStatus& other) const {
  return isError_ == other.isError_ && (isOk() || text() == other.text());
}

void Response::writeTo(JsonWriter& json) const {
  json.write([this](JsonWriter& object) {
    object.text("id", std::to_string(id));
    object.text("requestId", requestId);
    object.object("appState", [this](JsonWriter& state) { appState.addTo(state); });
    if (!parameters.empty()) {
      object.object("parameters", [this](JsonWriter& values) {
        for (const ReplyParameter& parameter : parameters) add(values, parameter);
      });
    }
    status.addTo(object);
  });
}

}  // namespace corvane::RequestProcessing
