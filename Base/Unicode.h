#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Strings inside the host are UTF-8 with one extension: an unpaired surrogate, which JavaScript
/// and the main application's archives may both hold, is encoded as the three bytes that UTF-8
/// would give its code point (ED A0 80 to ED BF BF, hexadecimal). That is WTF-8,
/// https://simonsapin.github.io/wtf-8/. It lets any string travel from the browser to the main
/// application and back unchanged. A pair of surrogates is never stored as six bytes but as the
/// four bytes of its character. Strings for a reader of UTF-8 are converted at the border of the
/// process.
///
/// All functions are thread-safe, and none fails except by std::bad_alloc. Numbers in the comments
/// below are hexadecimal where they denote bytes or code points.
namespace corvane::Unicode {

/// Returns true if all bytes of `text` are below 80.
bool isAscii(std::string_view text);

/// The number of UTF-16 code units of `text`, which must be well formed: two for a character of
/// four bytes, one for any other.
std::size_t utf16Length(std::string_view text);

/// Whether an unpaired surrogate counts as well formed: `refused` means strict UTF-8.
enum class Surrogates { refused, allowed };

/// The length in bytes of the longest prefix of `text` that is well formed: UTF-8 (RFC 3629,
/// https://www.rfc-editor.org/rfc/rfc3629), plus unpaired surrogates if they are allowed. Equals
/// `text.size()` if all of it is well formed.
std::size_t wellFormedLength(std::string_view text, Surrogates surrogates);

/// Returns true if all of `text` is well formed; see wellFormedLength.
inline bool isWellFormed(std::string_view text, Surrogates surrogates) {
  return wellFormedLength(text, surrogates) == text.size();
}

/// True for code units D800 to DBFF, DC00 to DFFF, and D800 to DFFF, respectively.
constexpr bool isLeadingSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isTrailingSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}
constexpr bool isSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

/// The code point of a pair of surrogates: 10000 to 10FFFF. Both must be what their names say.
constexpr char32_t fromPair(char32_t leading, char32_t trailing) {
  return 0x10000 + ((leading - 0xD800) << 10) + (trailing - 0xDC00);
}

/// Appends the encoding of `codePoint`, one to four bytes. `codePoint` is at most 10FFFF; a
/// surrogate becomes three bytes, so a pair must be combined with `fromPair` first.
void append(std::string& text, char32_t codePoint);

/// The length in bytes of the control character at `at`, which must be below the end of `text`, or
/// 0 if there is none. Control characters here are those below 20, 7F, 80 to 9F, the separators of
/// lines and paragraphs (2028, 2029), and the bidirectional formatting characters that affect all
/// text after them (202A to 202E, 2066 to 2069; https://www.unicode.org/reports/tr9/).
std::size_t controlLength(std::string_view text, std::size_t at);

/// Appends `value` with control characters (see controlLength) and bytes that are not strict UTF-8
/// made visible as "\n", "\r", "\t" or "\x1B"; everything else, a backslash included, is copied. So
/// strings from outside can neither end a log line, nor control a terminal, nor change the order in
/// which the line is displayed. Not reversible.
void appendVisible(std::string& text, std::string_view value);

}  // namespace corvane::Unicode
