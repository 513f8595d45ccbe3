#include "corvane-nm/RequestProcessing/Request.h"

#include <utility>

namespace corvane::RequestProcessing {

std::optional<Request> Request::fromDictionary(JsonObject message) {
  const auto* type = findString(message, "type");
  const auto* id = findString(message, "id");
  if (type == nullptr || id == nullptr) return std::nullopt;

  Request request;
  request.type.assign(type->data(), type->size());
  request.id.assign(id->data(), id->size());
  if (const auto* data = findString(message, "data"))
    request.data.emplace(data->data(), data->size());
  if (auto* parameters = message.if_contains("parameters");
      parameters != nullptr && parameters->is_object()) {
    request.parameters = std::move(parameters->get_object());
  }
  return request;
}

}  // namespace corvane::RequestProcessing
