#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "corvane-nm/RequestProcessing/Parameters.h"

namespace corvane::RequestProcessing {

/// One message of the browser extension: {"type": text, "id": text, "parameters": object, "data":
/// text}, the last two optional. Members of another kind count as absent.
struct Request {
  std::string type;            ///< selects the command
  std::string id;              ///< the extension's own, given back in the reply as "requestId"
  Parameters parameters = {};  ///< what the command needs
  std::optional<std::string> data = {};  ///< carried by the format; no command reads it

  bool operator==(const Request&) const = default;

  /// How much memory it takes, in bytes.
  [[nodiscard]] std::size_t bytes() const {
    return sizeof *this + type.size() + id.size() + parameters.bytes() + (data ? data->size() : 0);
  }
};

}  // namespace corvane::RequestProcessing
