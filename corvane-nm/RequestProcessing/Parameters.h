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

/// A request's parameters: for each name that some command reads, the value, if it is a text, a
/// boolean or an integer. What else a message holds is not kept.
class Parameters {
 public:
  using Value = std::variant<std::monostate, std::string, bool, std::int64_t>;

  /// The value of `name`, added empty if it is absent; nullptr if no command reads `name`. Valid
  /// until the next call.
  Value* slot(std::string_view name);

  /// Whether all of `required` are there, each with a value of its kind.
  [[nodiscard]] bool haveAll(std::span<const RequiredParameter> required) const;

  /// nullptr when `parameter` is missing or its value is of another kind. Kinds never mix: true is
  /// no integer, 1 no boolean, 443.0 no integer.
  [[nodiscard]] const std::string* text(Parameter parameter) const {
    return std::get_if<std::string>(&value(parameter));
  }
  [[nodiscard]] const bool* flag(Parameter parameter) const {
    return std::get_if<bool>(&value(parameter));
  }
  [[nodiscard]] const std::int64_t* integer(Parameter parameter) const {
    return std::get_if<std::int64_t>(&value(parameter));
  }

  /// Whether all values are equal.
  bool operator==(const Parameters& other) const;

  /// The length of all texts.
  [[nodiscard]] std::size_t bytes() const;

 private:
  struct Entry {
    Parameter parameter;
    Value value;
  };

  [[nodiscard]] const Value& value(Parameter parameter) const;

  std::vector<Entry> entries_;  // a few, in the order in which they came
};

}  // namespace corvane::RequestProcessing
