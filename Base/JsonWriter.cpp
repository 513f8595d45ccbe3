#include "Base/JsonWriter.h"

#include <algorithm>
#include <array>

#include "Base/Unicode.h"

namespace corvane {
namespace {

/// Bytes. Most replies fit, so that they need one allocation only.
constexpr std::size_t firstRoom = 512;

constexpr char hexDigits[] = "0123456789abcdef";

/// Which characters need an escape.
constexpr auto needEscape = [] {
  std::array<bool, 256> need{};
  for (std::size_t control = 0; control < 0x20; ++control) need[control] = true;
  need['"'] = need['\\'] = true;
  return need;
}();

std::size_t plainLength(std::string_view value) {
  std::size_t length = 0;
  while (length < value.size() && !needEscape[static_cast<unsigned char>(value[length])]) ++length;
  return length;
}

/// The second character of the two-character escape of `character`, or 0 if it has none.
constexpr char shortEscape(char character) {
  switch (character) {
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    case '"':
    case '\\':
      return character;
    default:
      return 0;
  }
}

/// The escape of the surrogate whose three bytes are at the beginning of `bytes`.
std::string surrogateEscape(std::string_view bytes) {
  const auto byte = [bytes](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
  return {'\\',
          'u',
          'd',
          hexDigits[byte(1) >> 2 & 0xF],
          hexDigits[(byte(1) & 3) << 2 | (byte(2) >> 4 & 3)],
          hexDigits[byte(2) & 0xF]};
}

}  // namespace

void JsonWriter::putEscaped(std::string_view value) {
  for (;;) {
    const std::size_t plain = plainLength(value);
    put(value.substr(0, plain));
    if (plain == value.size()) return;
    const char character = value[plain];
    if (const char letter = shortEscape(character); letter != 0) {
      const char escape[] = {'\\', letter};
      put({escape, sizeof escape});
    } else {
      const char escape[] = {
          '\\', 'u', '0', '0', hexDigits[character >> 4], hexDigits[character & 0xF]};
      put({escape, sizeof escape});
    }
    value.remove_prefix(plain + 1);
  }
}

void JsonWriter::grow(std::size_t byAtLeast) {
  text_.resize(std::max({firstRoom, 2 * text_.size(), length_ + byAtLeast}));
}

std::optional<std::string> withSurrogatesEscaped(std::string_view json) {
  constexpr std::size_t surrogate = 3;
  std::string escaped;
  for (;;) {
    const std::size_t length = Unicode::wellFormedLength(json, Unicode::Surrogates::refused);
    escaped += json.substr(0, length);
    json.remove_prefix(length);
    if (json.empty()) return escaped;
    if (!Unicode::isWellFormed(json.substr(0, surrogate), Unicode::Surrogates::allowed))
      return std::nullopt;
    escaped += surrogateEscape(json);
    json.remove_prefix(surrogate);
  }
}

}  // namespace corvane
