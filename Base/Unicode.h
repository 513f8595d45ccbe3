#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text inside the host is UTF-8 with one extension: an unpaired surrogate, which JavaScript and
/// the main application's archives may both hold, stands as the three bytes that UTF-8 would give
/// its code point (ED A0 80 to ED BF BF). That is WTF-8, https://simonsapin.github.io/wtf-8/. It
/// lets any text cross from the browser to the main application and back unchanged. A pair of
/// surrogates is never stored so: it is the four bytes of its character. Only where text leaves for
/// a UTF-8 reader is the extension taken away again.
namespace corvane::Unicode {

/// True when `text` has only bytes below 80.
bool isAscii(std::string_view text);

/// How many UTF-16 code units `text`, which is well formed, has: two for a character of four bytes,
/// one for any other.
std::size_t utf16Length(std::string_view text);

enum class Surrogates { refused, allowed };

/// The length of the longest well-formed beginning of `text`: UTF-8 as in RFC 3629,
/// https://www.rfc-editor.org/rfc/rfc3629, plus unpaired surrogates where they are allowed.
/// Equal to `text.size()` when all of it is well formed.
std::size_t wellFormedLength(std::string_view text, Surrogates surrogates);

/// True when `text` is well formed; see wellFormedLength.
inline bool isWellFormed(std::string_view text, Surrogates surrogates) {
  return wellFormedLength(text, surrogates) == text.size();
}

/// True for code units D800 to DBFF, and for DC00 to DFFF.
constexpr bool isLeadingSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isTrailingSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}
constexpr bool isSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

/// The code point of a pair of surrogates.
constexpr char32_t fromPair(char32_t leading, char32_t trailing) {
  return 0x10000 + ((leading - 0xD800) << 10) + (trailing - 0xDC00);
}

/// Appends the one to four bytes of `codePoint` (at most 10FFFF; a surrogate gives its three
/// bytes).
void append(std::string& text, char32_t codePoint);

/// Bytes of the control character at `at`, or 0 when there is none: below 20, 7F, 80 to 9F, the
/// separators of lines and paragraphs (2028, 2029), and what turns the direction of text for more
/// than one character (202A to 202E, 2066 to 2069).
std::size_t controlLength(std::string_view text, std::size_t at);

/// Appends `value` with control characters (see controlLength) and bytes that are not UTF-8 written
/// visibly, as "\n", "\r", "\t" or "\x1B"; all else, a backslash included, stays as it is. What
/// comes from outside so never ends a log line, never commands a terminal, and shows in its order.
void appendVisible(std::string& text, std::string_view value);

}  // namespace corvane::Unicode
