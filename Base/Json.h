#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/string.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Base/Result.h"

/// Parses and serializes JSON text (RFC 8259, https://www.rfc-editor.org/rfc/rfc8259) with
/// Boost.JSON (https://www.boost.org/doc/libs/1_81_0/libs/json/). Builds a tree of values:
/// convenient for the tools and the tests. The host itself builds none; it parses messages as they
/// arrive and writes replies with JsonWriter.
///
/// Integers and reals are different kinds; of equal keys the last one counts. Unpaired surrogates,
/// which browsers send as escapes such as "\ud800", are kept as Base/Unicode.h describes and are
/// written as the same escapes. All functions are thread-safe.
namespace corvane {

using JsonObject = boost::json::object;
using JsonValue = boost::json::value;

/// How deeply arrays and objects may be nested.
inline constexpr std::size_t maximumJsonDepth = 512;

/// Parses a complete text whose top level is an object or an array. Fails with `malformed` and the
/// reason if the text is not strict JSON in UTF-8, is nested more deeply than `maximumJsonDepth`,
/// or has a scalar at its top level. A real out of the range of double becomes infinite; a zero
/// with such an exponent (0e400) becomes NaN, because the library multiplies it by infinity.
Result<JsonValue> parseJson(std::string_view text);

/// The UTF-16 code unit of the escape ("\ud800") that begins at offset `at` of JSON text, or
/// nothing if no complete escape of this form begins there. `at` may lie beyond the end.
std::optional<char32_t> jsonUnitEscape(std::string_view text, std::size_t at);

/// Returns `object` as UTF-8 text without white space, or nothing if a string in it is not well
/// formed (Base/Unicode.h). Its numbers must be finite.
std::optional<std::string> serializeJson(const JsonObject& object);

/// Each returns the member `key` of `object` if there is one of that kind, otherwise nullptr. Kinds
/// are never converted: `true` and 443.0 are not integers, 1 is not a boolean. The result points
/// into `object` and lives until that is changed.
const boost::json::string* findString(const JsonObject& object, std::string_view key);
const bool* findBool(const JsonObject& object, std::string_view key);
const std::int64_t* findInteger(const JsonObject& object, std::string_view key);
const JsonObject* findObject(const JsonObject& object, std::string_view key);

}  // namespace corvane
