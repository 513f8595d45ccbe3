#include "corvane-nm/RequestProcessing/Parameters.h"

#include <algorithm>

namespace corvane::RequestProcessing {

bool Parameters::haveAll(std::span<const RequiredParameter> required) const {
  using Kind = RequiredParameter::Kind;
  return std::all_of(required.begin(), required.end(), [this](const RequiredParameter& one) {
    if (object_ == nullptr) return false;
    switch (one.kind) {
      case Kind::text:
        return findString(*object_, one.name) != nullptr;
      case Kind::integer:
        return findInteger(*object_, one.name) != nullptr;
      case Kind::flag:
        return findBool(*object_, one.name) != nullptr;
    }
    return false;
  });
}

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
