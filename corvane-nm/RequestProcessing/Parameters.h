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

  /// nullptr when `name` is missing or its value is of another kind. Kinds never mix: true is no
  /// integer, 1 no boolean, 443.0 no integer.
  [[nodiscard]] const std::string* text(std::string_view name) const {
    return find<std::string>(name);
  }
  [[nodiscard]] const bool* flag(std::string_view name) const { return find<bool>(name); }
  [[nodiscard]] const std::int64_t* integer(std::string_view name) const {
    return find<std::int64_t>(name);
  }

  /// Whether all values are equal.
  bool operator==(const Parameters& other) const;

  /// The length of all texts.
  [[nodiscard]] std::size_t bytes() const;

 private:
  struct Entry {
    std::string_view name;  // one of `parameterNames`
    Value value;
  };

  template <class T>
  [[nodiscard]] const T* find(std::string_view name) const {
    return std::get_if<T>(&value(name));
  }
  [[nodiscard]] const Value& value(std::string_view name) const;

  std::vector<Entry> entries_;  // a few, in the order in which they came
};

}  // namespace corvane::RequestProcessing
