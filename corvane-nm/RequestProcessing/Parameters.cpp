#include "corvane-nm/RequestProcessing/Parameters.h"

#include <algorithm>

namespace corvane::RequestProcessing {
namespace {

constexpr std::size_t mostOfACommand = 3;

}  // namespace

Parameters::Value* Parameters::slot(std::string_view name) {
  const auto parameter = findParameter(name);
  if (!parameter) return nullptr;
  for (Entry& entry : entries_)
    if (entry.parameter == *parameter) return &entry.value;
  if (entries_.empty()) entries_.reserve(mostOfACommand);
  return &entries_.emplace_back(Entry{*parameter, {}}).value;
}

const Parameters::Value& Parameters::value(Parameter parameter) const {
  static const Value none;
  for (const Entry& entry : entries_)
    if (entry.parameter == parameter) return entry.value;
  return none;
}

bool Parameters::operator==(const Parameters& other) const {
  return std::all_of(parameterNames.begin(), parameterNames.end(), [&](std::string_view name) {
    const Parameter parameter = *findParameter(name);
    return value(parameter) == other.value(parameter);
  });
}

bool Parameters::haveAll(std::span<const RequiredParameter> required) const {
  using Kind = RequiredParameter::Kind;
  return std::all_of(required.begin(), required.end(), [this](const RequiredParameter& one) {
    switch (one.kind) {
      case Kind::text:
        return text(one.parameter) != nullptr;
      case Kind::integer:
        return integer(one.parameter) != nullptr;
      case Kind::flag:
        return flag(one.parameter) != nullptr;
    }
    return false;
  });
}

std::size_t Parameters::bytes() const {
  std::size_t bytes = 0;
  for (const Entry& entry : entries_) {
    if (const auto* text = std::get_if<std::string>(&entry.value)) bytes += text->size();
  }
  return bytes;
}

}  // namespace corvane::RequestProcessing
