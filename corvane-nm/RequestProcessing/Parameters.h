#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "corvane-nm/RequestProcessing/BrowserCommands.h"

namespace corvane::RequestProcessing {

/// The parameters of a request: the values of those members that some command reads, if they are
/// strings, booleans or integers. Anything else in a message is not stored. A value type; not
/// thread-safe.
class Parameters {
 public:
  /// Monostate: absent, or of a kind that no command reads.
  using Value = std::variant<std::monostate, std::string, bool, std::int64_t>;

  /// Returns the place for the value of `name`, added empty if it is absent, or nullptr if no
  /// command reads `name`. Valid until the next call.
  Value* slot(std::string_view name);

  /// Whether all of `required` are present, each with a value of its kind.
  [[nodiscard]] bool haveAll(std::span<const RequiredParameter> required) const;

  /// The value of `parameter`, or nullptr if it is absent or of another kind. Nothing is converted:
  /// true is not an integer, 1 is not a boolean, and 443.0 is not an integer.
  [[nodiscard]] const std::string* text(Parameter parameter) const {
    return std::get_if<std::string>(&value(parameter));
  }
  [[nodiscard]] const bool* flag(Parameter parameter) const {
    return std::get_if<bool>(&value(parameter));
  }
  [[nodiscard]] const std::int64_t* integer(Parameter parameter) const {
    return std::get_if<std::int64_t>(&value(parameter));
  }

  /// Whether all parameters have equal values, in whatever order they came.
  bool operator==(const Parameters& other) const;

  /// The length of all strings together, in bytes.
  [[nodiscard]] std::size_t bytes() const;

 private:
  struct Entry {
    Parameter parameter;
    Value value;
  };

  [[nodiscard]] const Value& value(Parameter parameter) const;

  std::vector<Entry> entries_;  // a few at most, so a linear search is fastest
};

}  // namespace corvane::RequestProcessing
