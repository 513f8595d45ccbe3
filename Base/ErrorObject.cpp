#include "Base/ErrorObject.h"

#include <cstdio>
#include <cstdlib>

#include "Base/Record.h"

namespace corvane {
namespace {

/// The shortest decimal text that reads back as `real`.
std::string textOf(double real) {
  char text[32] = "";
  for (int digits = 15; digits <= 17; ++digits) {
    std::snprintf(text, sizeof text, "%.*g", digits, real);
    if (std::strtod(text, nullptr) == real) break;
  }
  return text;
}

std::string textOf(const Value& value);

std::string textOf(const Dictionary& dictionary) {
  std::string text = "{";
  const char* separator = "";
  for (const auto& [key, value] : dictionary) {
    text += separator + key + "=" + textOf(value);
    separator = ", ";
  }
  return text + "}";
}

std::string textOf(const Value& value) {
  if (const auto* text = value.as<std::string>()) return *text;
  if (const auto* boolean = value.as<bool>()) return *boolean ? "1" : "0";
  if (const auto* integer = value.as<std::int64_t>()) return std::to_string(*integer);
  if (const auto* integer = value.as<std::uint64_t>()) return std::to_string(*integer);
  if (const auto* real = value.as<double>()) return textOf(*real);
  if (const auto* dictionary = value.as<Dictionary>()) return textOf(*dictionary);
  if (const auto* error = value.as<ErrorObject>()) return "{" + error->description() + "}";
  if (const auto* record = value.as<Record>())
    return "<" + std::string(record->recordClass->name) + ">";
  return "<null>";
}

}  // namespace

std::string ErrorObject::description() const {
  const auto* localized =
      userInfo ? userInfo->find<std::string>("NSLocalizedDescription") : nullptr;
  std::string text = "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" +
                     (localized == nullptr ? "(null)" : *localized) + "\"";
  if (userInfo && userInfo->size() != 0) text += " UserInfo=" + textOf(*userInfo);
  return text;
}

}  // namespace corvane
