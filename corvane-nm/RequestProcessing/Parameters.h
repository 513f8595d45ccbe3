#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "corvane-nm/RequestProcessing/BrowserCommands.h"
#include "corvane-nm/RequestProcessing/Request.h"

namespace corvane::RequestProcessing {

/// Reads a request's parameters by kind: nothing when the request has none, when the key is
/// missing, or when its value is of another kind.
class Parameters {
 public:
  explicit Parameters(const Request& request)
      : object_(request.parameters ? &*request.parameters : nullptr) {}

  /// Whether all of `required` are there, each with a value of its kind.
  [[nodiscard]] bool haveAll(std::span<const RequiredParameter> required) const;

  [[nodiscard]] std::optional<std::string> text(std::string_view key) const;
  [[nodiscard]] std::optional<bool> flag(std::string_view key) const;
  [[nodiscard]] std::optional<std::int64_t> integer(std::string_view key) const;

 private:
  const JsonObject* object_;
};

}  // namespace corvane::RequestProcessing
