#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "corvane-nm/RequestProcessing/Parameters.h"

namespace corvane::RequestProcessing {

/// One message of the browser extension: {"type": string, "id": string, "parameters": object,
/// "data": string}, the last two optional. Members of another kind count as absent. A plain value.
struct Request {
  std::string type;            ///< selects the command
  std::string id;              ///< chosen by the extension; returned in the reply as "requestId"
  Parameters parameters = {};  ///< without members that no command reads
  std::optional<std::string> data = {};  ///< part of the format; no command reads it

  bool operator==(const Request&) const = default;

  /// Roughly the memory that it takes, in bytes.
  [[nodiscard]] std::size_t bytes() const {
    return sizeof *this + type.size() + id.size() + parameters.bytes() + (data ? data->size() : 0);
  }
};

}  // namespace corvane::RequestProcessing
