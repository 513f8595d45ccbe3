#include "corvane-nm/RequestProcessing/Parameters.h"

#include <algorithm>

namespace corvane::RequestProcessing {

Parameters::Value* Parameters::slot(std::string_view name) {
  const std::size_t index = indexOfParameter(name);
  return index < values_.size() ? &values_[index] : nullptr;
}

bool Parameters::haveAll(std::span<const RequiredParameter> required) const {
  using Kind = RequiredParameter::Kind;
  return std::all_of(required.begin(), required.end(), [this](const RequiredParameter& one) {
    switch (one.kind) {
      case Kind::text:
        return text(one.name) != nullptr;
      case Kind::integer:
        return integer(one.name) != nullptr;
      case Kind::flag:
        return flag(one.name) != nullptr;
    }
    return false;
  });
}

std::size_t Parameters::bytes() const {
  std::size_t bytes = 0;
  for (const Value& value : values_) {
    if (const auto* text = std::get_if<std::string>(&value)) bytes += text->size();
  }
  return bytes;
}

}  // namespace corvane::RequestProcessing
