#include "corvane-nm/RequestProcessing/Parameters.h"

namespace corvane::RequestProcessing {

std::optional<std::string> Parameters::text(std::string_view key) const {
  const auto* found = object_ == nullptr ? nullptr : findString(*object_, key);
  if (found == nullptr) return std::nullopt;
  return std::string(found->data(), found->size());
}

std::optional<bool> Parameters::flag(std::string_view key) const {
  const bool* found = object_ == nullptr ? nullptr : findBool(*object_, key);
  if (found == nullptr) return std::nullopt;
  return *found;
}

std::optional<std::int64_t> Parameters::integer(std::string_view key) const {
  const std::int64_t* found = object_ == nullptr ? nullptr : findInteger(*object_, key);
  if (found == nullptr) return std::nullopt;
  return *found;
}

}  // namespace corvane::RequestProcessing
