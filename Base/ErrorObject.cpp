#include "Base/ErrorObject.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "Base/Record.h"
#include "Base/TruncatedText.h"

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

void append(TruncatedText& text, const Value& value);

void append(TruncatedText& text, const Dictionary& dictionary) {
  text += "{";
  std::string_view separator;
  for (const auto& [key, value] : dictionary) {
    text += separator;
    text += key;
    text += "=";
    append(text, value);
    separator = ", ";
  }
  text += "}";
}

void append(TruncatedText& text, const ErrorObject& error) {
  text += "{";
  error.appendDescription(text);
  text += "}";
}

/// The text of a value that is neither a string nor contains one.
std::string textOf(const Value& value) {
  if (const auto* boolean = value.as<bool>()) return *boolean ? "1" : "0";
  if (const auto* integer = value.as<std::int64_t>()) return std::to_string(*integer);
  if (const auto* integer = value.as<std::uint64_t>()) return std::to_string(*integer);
  if (const auto* real = value.as<double>()) return textOf(*real);
  if (const auto* record = value.as<Record>())
    return "<" + std::string(record->recordClass->name) + ">";
  return "<null>";
}

void append(TruncatedText& text, const Value& value) {
  if (const auto* string = value.as<std::string>()) {
    text += *string;
  } else if (const auto* dictionary = value.as<Dictionary>()) {
    append(text, *dictionary);
  } else if (const auto* error = value.as<ErrorObject>()) {
    append(text, *error);
  } else {
    text += textOf(value);
  }
}

/// How many bytes of a description are kept: more than anybody reads. Even if a reply escapes each
/// of them as six ("\u001B"), they are 393,216 of the 1,048,576 bytes that browsers accept.
constexpr std::size_t longestDescription = std::size_t{64} << 10;

}  // namespace

std::string ErrorObject::description() const {
  TruncatedText text(longestDescription);
  appendDescription(text);
  return std::move(text).take();
}

void ErrorObject::appendDescription(TruncatedText& text) const {
  const auto* localized =
      userInfo ? userInfo->find<std::string>("NSLocalizedDescription") : nullptr;
  text += "Error Domain=";
  text += domain;
  text += " Code=" + std::to_string(code) + " \"";
  text += localized == nullptr ? "(null)" : std::string_view(*localized);
  text += "\"";
  if (!userInfo || userInfo->size() == 0) return;
  text += " UserInfo=";
  append(text, *userInfo);
}

}  // namespace corvane
