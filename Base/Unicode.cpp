#include "Base/Unicode.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace corvane::Unicode {
namespace {

constexpr std::uint64_t highBits = 0x8080808080808080U;

unsigned byteAt(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

bool isContinuation(std::string_view text, std::size_t index) {
  return index < text.size() && (byteAt(text, index) & 0xC0U) == 0x80;
}

/// The length in bytes of the well-formed character at `at`, or 0 if there is none.
std::size_t characterLength(std::string_view text, std::size_t at, Surrogates surrogates) {
  const unsigned first = byteAt(text, at);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4 || !isContinuation(text, at + 1)) return 0;
  const unsigned second = byteAt(text, at + 1);
  if (first < 0xE0) return 2;
  if (!isContinuation(text, at + 2)) return 0;
  if (first < 0xF0) {
    if (first == 0xE0 && second < 0xA0) return 0;
    if (first == 0xED && second >= 0xA0 && surrogates == Surrogates::refused) return 0;
    return 3;
  }
  if (!isContinuation(text, at + 3)) return 0;
  if ((first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90)) return 0;
  return 4;
}

/// How many ASCII characters are skipped at a time: at first, and once several were found in a row.
constexpr std::size_t smallStep = 8;
constexpr std::size_t largeStep = 64;

/// Whether there are `length` bytes, a multiple of eight, from `at` on and all of them are
/// below 80.
template <std::size_t length>
bool isAsciiAt(std::string_view text, std::size_t at) {
  if (text.size() - at < length) return false;
  std::uint64_t words[length / sizeof(std::uint64_t)];
  std::memcpy(words, text.data() + at, length);
  std::uint64_t seen = 0;
  for (const std::uint64_t word : words) seen |= word;
  return (seen & highBits) == 0;
}

void appendHexEscape(std::string& text, unsigned byte) {
  constexpr char digits[] = "0123456789ABCDEF";
  text += "\\x";
  text += digits[byte >> 4];
  text += digits[byte & 0xF];
}

void appendControl(std::string& text, unsigned byte) {
  switch (byte) {
    case '\n':
      text += "\\n";
      break;
    case '\r':
      text += "\\r";
      break;
    case '\t':
      text += "\\t";
      break;
    default:
      appendHexEscape(text, byte);
  }
}

}  // namespace

bool isAscii(std::string_view text) {
  std::uint64_t seen = 0;
  std::uint64_t word = 0;
  if (text.size() < sizeof word) {
    for (const char byte : text) seen |= static_cast<unsigned char>(byte);
    return (seen & highBits) == 0;
  }
  const char* const last = text.data() + text.size() - sizeof word;
  for (const char* at = text.data(); at < last; at += sizeof word) {
    std::memcpy(&word, at, sizeof word);
    seen |= word;
  }
  std::memcpy(&word, last, sizeof word);  // may overlap the word before
  return ((seen | word) & highBits) == 0;
}

std::size_t utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (std::size_t at = 0; at < text.size(); ++at)
    units += isContinuation(text, at) ? 0U : byteAt(text, at) >= 0xF0 ? 2U : 1U;
  return units;
}

std::size_t wellFormedLength(std::string_view text, Surrogates surrogates) {
  std::size_t at = 0;
  while (at < text.size()) {
    if (isAsciiAt<smallStep>(text, at)) {
      at += smallStep;
      while (isAsciiAt<largeStep>(text, at)) at += largeStep;
      continue;
    }
    const std::size_t length = characterLength(text, at, surrogates);
    if (length == 0) break;
    at += length;
  }
  return at;
}

void append(std::string& text, char32_t codePoint) {
  const auto put = [&text](char32_t byte) {
    text += static_cast<char>(static_cast<unsigned char>(byte));
  };
  if (codePoint < 0x80) {
    put(codePoint);
  } else if (codePoint < 0x800) {
    put(0xC0 | codePoint >> 6);
    put(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    put(0xE0 | codePoint >> 12);
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  } else {
    put(0xF0 | codePoint >> 18);
    put(0x80 | (codePoint >> 12 & 0x3F));
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  }
}

std::size_t controlLength(std::string_view text, std::size_t at) {
  const unsigned first = byteAt(text, at);
  if (first < 0x20 || first == 0x7F) return 1;
  if (first == 0xC2 && isContinuation(text, at + 1)) return byteAt(text, at + 1) < 0xA0 ? 2 : 0;
  if (first != 0xE2 || !isContinuation(text, at + 1) || !isContinuation(text, at + 2)) return 0;
  const unsigned second = byteAt(text, at + 1);
  const unsigned third = byteAt(text, at + 2);
  const bool separatesOrTurns = second == 0x80 && third >= 0xA8 && third <= 0xAE;
  const bool isolates = second == 0x81 && third >= 0xA6 && third <= 0xA9;
  return separatesOrTurns || isolates ? 3 : 0;
}

void appendVisible(std::string& text, std::string_view value) {
  std::size_t at = 0;
  while (at < value.size()) {
    const std::size_t length = characterLength(value, at, Surrogates::refused);
    const std::size_t hidden = length == 0 ? 1 : controlLength(value, at);
    if (hidden == 0) text.append(value, at, length);
    for (std::size_t i = 0; i < hidden; ++i) appendControl(text, byteAt(value, at + i));
    at += std::max(hidden, length);
  }
}

}  // namespace corvane::Unicode
