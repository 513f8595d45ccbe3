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

/// JSON text (RFC 8259, https://www.rfc-editor.org/rfc/rfc8259) to values and back, with Boost.JSON
/// (https://www.boost.org/doc/libs/1_81_0/libs/json/). Integers and reals stay apart, of equal keys
/// the last one counts. Unpaired surrogates, which browsers send as escapes such as "\ud800", are
/// kept inside as Base/Unicode.h says and leave as the same escapes. All functions are safe from
/// any thread.
namespace corvane {

using JsonObject = boost::json::object;
using JsonValue = boost::json::value;

/// How many arrays and objects may stand inside one another.
inline constexpr std::size_t maximumJsonDepth = 512;

/// Parses a whole text whose top level is an object or an array. Fails, with the reason, when the
/// text is not strict JSON in UTF-8, nests deeper than `maximumJsonDepth`, or has a scalar as its
/// top level. A real beyond what a double holds becomes infinite, a zero with such an exponent
/// (0e400) not a number, as the library multiplies it by infinity.
Result<JsonValue> parseJson(std::string_view text);

/// The UTF-16 code unit of an escape such as "\ud800" at `at` in JSON text, or nothing when none
/// stands there.
std::optional<char32_t> jsonUnitEscape(std::string_view text, std::size_t at);

/// The compact UTF-8 text of an object whose numbers are finite. Nothing if a string in it is not
/// well formed.
std::optional<std::string> serializeJson(const JsonObject& object);

/// The member `key` of `object` if it is there and a text, otherwise nothing; likewise for the
/// other kinds. Kinds never mix: true is no integer, 1 no boolean, 443.0 no integer. The text lives
/// as long as `object`.
const boost::json::string* findString(const JsonObject& object, std::string_view key);
const bool* findBool(const JsonObject& object, std::string_view key);
const std::int64_t* findInteger(const JsonObject& object, std::string_view key);
const JsonObject* findObject(const JsonObject& object, std::string_view key);

}  // namespace corvane
