#include "Base/Json.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include "Base/JsonWriter.h"
#include "Base/Unicode.h"

namespace corvane {
namespace {

namespace json = boost::json;
using Unicode::Surrogates;

json::value parse(std::string_view text, json::error_code& error, bool utf8IsChecked) {
  json::parse_options options;
  options.max_depth = maximumJsonDepth;
  options.allow_invalid_utf8 = utf8IsChecked;
  return json::parse({text.data(), text.size()}, error, {}, options);
}

/// Whether `text` may hold the escape of a surrogate. The error code of the parser does not say: it
/// reports a surrogate that no escape follows as a plain syntax error.
bool mayHoldSurrogateEscape(std::string_view text) {
  return text.find("\\ud") != std::string_view::npos || text.find("\\uD") != std::string_view::npos;
}

/// Replaces the escapes of unpaired surrogates by the bytes that represent them inside the host.
std::string withSurrogatesInPlace(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::optional<char32_t> unit = jsonUnitEscape(text, at);
    if (!unit || !Unicode::isSurrogate(*unit)) {
      const std::size_t length = text[at] == '\\' ? 2 : 1;  // an escaped backslash begins no escape
      result.append(text, at, length);
      at += length;
      continue;
    }
    const std::optional<char32_t> next = jsonUnitEscape(text, at + 6);
    if (Unicode::isLeadingSurrogate(*unit) && next && Unicode::isTrailingSurrogate(*next)) {
      result.append(text, at, 12);
      at += 12;
    } else {
      Unicode::append(result, *unit);
      at += 6;
    }
  }
  return result;
}

const JsonValue* find(const JsonObject& object, std::string_view key) {
  return object.if_contains({key.data(), key.size()});
}

}  // namespace

std::optional<char32_t> jsonUnitEscape(std::string_view text, std::size_t at) {
  if (text.size() < at + 6 || text[at] != '\\' || text[at + 1] != 'u') return std::nullopt;
  char32_t unit = 0;
  for (const char digit : text.substr(at + 2, 4)) {
    const std::size_t value = std::string_view("0123456789abcdef0123456789ABCDEF").find(digit);
    if (value == std::string_view::npos) return std::nullopt;
    unit = unit << 4 | static_cast<char32_t>(value & 0xF);
  }
  return unit;
}

Result<JsonValue> parseJson(std::string_view text) {
  json::error_code error;
  json::value value = parse(text, error, false);
  // The parser rejects unpaired surrogates with several error codes. They are rare, so only a text
  // that was rejected is searched for them.
  if (error && mayHoldSurrogateEscape(text) && Unicode::isWellFormed(text, Surrogates::refused)) {
    value = parse(withSurrogatesInPlace(text), error, true);
  }
  if (error) return Failure{FailureCause::malformed, error.message()};
  if (!value.is_object() && !value.is_array()) {
    return Failure{FailureCause::malformed,
                   "JSON text did not start with array or object (no fragments)"};
  }
  return value;
}

std::optional<std::string> serializeJson(const JsonObject& object) {
  return withSurrogatesEscaped(json::serialize(object));
}

const json::string* findString(const JsonObject& object, std::string_view key) {
  const JsonValue* value = find(object, key);
  return value == nullptr ? nullptr : value->if_string();
}

const bool* findBool(const JsonObject& object, std::string_view key) {
  const JsonValue* value = find(object, key);
  return value == nullptr ? nullptr : value->if_bool();
}

const std::int64_t* findInteger(const JsonObject& object, std::string_view key) {
  const JsonValue* value = find(object, key);
  return value == nullptr ? nullptr : value->if_int64();
}

const JsonObject* findObject(const JsonObject& object, std::string_view key) {
  const JsonValue* value = find(object, key);
  return value == nullptr ? nullptr : value->if_object();
}

}  // namespace corvane
