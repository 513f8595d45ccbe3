#include "tools/corvane-nmctl/Output.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "Base/Unicode.h"

namespace corvane::Nmctl {
namespace {

constexpr char bold[] = "1";
constexpr char faint[] = "2";
constexpr char red[] = "31";
constexpr char green[] = "32";
constexpr char yellow[] = "33";

/// How many columns a terminal needs for `text`: its characters, none of which is wide.
std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

void makePrintable(JsonValue& value) {
  if (auto* text = value.if_string()) value = JsonValue(printable(std::string_view(*text)));
  if (auto* array = value.if_array())
    for (JsonValue& element : *array) makePrintable(element);
  if (auto* object = value.if_object())
    for (auto& entry : *object) makePrintable(entry.value());
}

/// JSON in which controls that JSON itself lets pass are written as escapes.
std::string withoutControls(std::string_view json) {
  std::string result;
  for (std::size_t at = 0; at < json.size();) {
    const std::size_t length = Unicode::controlLength(json, at);
    if (length == 0) {
      result += json[at++];
      continue;
    }
    unsigned codePoint = static_cast<unsigned char>(json[at++]) & (length == 1 ? 0x7FU : 0x1FU);
    for (std::size_t i = 1; i < length; ++i)
      codePoint = codePoint << 6 | (static_cast<unsigned char>(json[at++]) & 0x3FU);
    std::array<char, 16> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x", codePoint);
    result += escape.data();
  }
  return result;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string result;
  Unicode::appendVisible(result, text);
  return result;
}

std::string shellWord(std::string_view text) {
  constexpr std::string_view plain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789/._-+:@%,=";
  if (!text.empty() && text.find_first_not_of(plain) == std::string_view::npos)
    return std::string(text);
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::string octal(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode));
  return text;
}

Output::Output(std::FILE* stream)
    : stream_(stream),
      // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody sets any
      hasColours_(::isatty(::fileno(stream)) == 1 && std::getenv("NO_COLOR") == nullptr) {}

std::string Output::coloured(const char* code, std::string_view text) const {
  if (!hasColours_) return std::string(text);
  return std::string("\x1b[") + code + "m" + std::string(text) + "\x1b[0m";
}

void Output::line(std::string_view text) {
  std::fprintf(stream_, "%.*s\n", static_cast<int>(text.size()), text.data());
}

void Output::line(Tone tone, std::string_view text) {
  constexpr const char* codes[] = {"0", faint, green, yellow, red};
  line(tone == Tone::plain ? std::string(text) : coloured(codes[static_cast<int>(tone)], text));
}

void Output::prompt(std::string_view text) {
  std::fputs(coloured(bold, text).c_str(), stream_);
}

bool Output::flush() {
  return std::fflush(stream_) == 0;
}

int Output::descriptor() const {
  return ::fileno(stream_);
}

void Output::heading(std::string_view text) {
  line(coloured(bold, text));
}

void Output::marked(Mark mark, std::string_view text) {
  switch (mark) {
    case Mark::good:
      return line(coloured(green, "✓ ") + std::string(text));
    case Mark::bad:
      return line(coloured(red, "✗ ") + std::string(text));
    case Mark::note:
      return line(coloured(yellow, "! ") + std::string(text));
  }
}

void Output::table(const std::vector<std::string>& titles,
                   const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (std::size_t column = 0; column < titles.size(); ++column) {
    widths.push_back(widthOf(titles[column]));
    for (const auto& row : rows) widths.back() = std::max(widths.back(), widthOf(row[column]));
  }
  const auto lineOf = [&](const std::vector<std::string>& row) {
    std::string text;
    for (std::size_t column = 0; column < row.size(); ++column) {
      text += row[column];
      if (column + 1 < row.size()) text.append(widths[column] + 2 - widthOf(row[column]), ' ');
    }
    return text;
  };
  line(coloured(faint, lineOf(titles)));
  for (const auto& row : rows) line(lineOf(row));
}

void Output::json(const JsonObject& object) {
  auto text = serializeJson(object);
  if (!text) {
    JsonValue copy = object;
    makePrintable(copy);
    text = serializeJson(copy.as_object());
  }
  line(text ? withoutControls(*text) : "{}");  // with printable texts there is nothing left to fail
}

void Output::complain(std::string_view text) {
  std::fprintf(stderr, "corvane-nmctl: %s\n", printable(text).c_str());
}

}  // namespace corvane::Nmctl
