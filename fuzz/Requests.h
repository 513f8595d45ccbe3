#pragma once

#include <boost/json/string.hpp>
#include <optional>
#include <string>

#include "Base/Json.h"
#include "corvane-nm/RequestProcessing/Request.h"

namespace corvane::fuzzing {

/// The request that a message parsed as a tree is, if it is one: what RequestParser must find, too.
inline std::optional<RequestProcessing::Request> requestIn(const JsonValue& message) {
  const auto textOf = [](const boost::json::string& text) {
    return std::string(text.data(), text.size());
  };
  const JsonObject* const object = message.if_object();
  if (object == nullptr) return std::nullopt;
  const auto* const type = findString(*object, "type");
  const auto* const id = findString(*object, "id");
  if (type == nullptr || id == nullptr) return std::nullopt;
  RequestProcessing::Request request{textOf(*type), textOf(*id)};
  if (const auto* data = findString(*object, "data")) request.data = textOf(*data);
  const JsonObject* const parameters = findObject(*object, "parameters");
  if (parameters == nullptr) return request;
  for (const std::string_view name : RequestProcessing::parameterNames) {
    auto& slot = *request.parameters.slot(name);
    if (const auto* text = findString(*parameters, name)) slot = textOf(*text);
    if (const auto* flag = findBool(*parameters, name)) slot = *flag;
    if (const auto* number = findInteger(*parameters, name)) slot = *number;
  }
  return request;
}

}  // namespace corvane::fuzzing
