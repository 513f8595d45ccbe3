#pragma once

#include <optional>
#include <string>

#include "Base/Json.h"

namespace corvane::RequestProcessing {

/// One message of the browser extension: {"type": text, "id": text, "parameters": object, "data":
/// text}, the last two optional. Members of another kind count as absent.
struct Request {
  std::string type;  ///< selects the command
  std::string id;    ///< the extension's own, given back in the reply as "requestId"
  std::optional<JsonObject> parameters;  ///< what the command needs
  std::optional<std::string> data;       ///< carried by the format; no command reads it

  /// The request that `message` holds, or nothing when "type" or "id" is missing or no text. Takes
  /// the parameters out of `message` rather than copying them.
  static std::optional<Request> fromDictionary(JsonObject message);
};

}  // namespace corvane::RequestProcessing
