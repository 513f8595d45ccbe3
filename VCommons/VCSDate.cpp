#include "VCommons/VCSDate.h"

#include <array>

#include "Base/Unicode.h"

namespace corvane::VCSDate {
namespace {

constexpr std::string_view isoPattern = "yyyy-MM-ddTHH:mm:ss.SSS";
constexpr std::string_view isoPatternWithOffset = "yyyy-MM-ddTHH:mm:ss.SSS+00:00";
constexpr std::string_view fieldLetters = "yMdHmsS";
constexpr std::size_t noField = fieldLetters.size();

/// The seven fields in the order of fieldLetters.
using Fields = std::array<int, fieldLetters.size()>;

/// For each character the index of the field that it stands for, or `noField`.
constexpr auto fieldOfCharacter = [] {
  std::array<unsigned char, 256> fields{};
  fields.fill(noField);
  for (std::size_t i = 0; i < fieldLetters.size(); ++i)
    fields[static_cast<unsigned char>(fieldLetters[i])] = static_cast<unsigned char>(i);
  return fields;
}();

constexpr std::size_t fieldOf(char character) {
  return fieldOfCharacter[static_cast<unsigned char>(character)];
}

Fields fieldsOf(Date date) {
  const auto day = std::chrono::floor<std::chrono::days>(date);
  const std::chrono::year_month_day calendar(day);
  const std::chrono::hh_mm_ss time(date - day);
  return {static_cast<int>(calendar.year()),
          static_cast<int>(static_cast<unsigned>(calendar.month())),
          static_cast<int>(static_cast<unsigned>(calendar.day())),
          static_cast<int>(time.hours().count()),
          static_cast<int>(time.minutes().count()),
          static_cast<int>(time.seconds().count()),
          static_cast<int>(time.subseconds().count())};
}

std::optional<Date> dateOf(const Fields& fields) {
  const auto [year, month, day, hour, minute, second, millisecond] = fields;
  const auto calendar = std::chrono::year(year) / month / day;
  if (year < 1 || !calendar.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return Date(std::chrono::sys_days(calendar)) + std::chrono::hours(hour) +
         std::chrono::minutes(minute) + std::chrono::seconds(second) +
         std::chrono::milliseconds(millisecond);
}

/// The length of the run of equal characters that begins at `at`.
std::size_t runLength(std::string_view pattern, std::size_t at) {
  const std::size_t end = pattern.find_first_not_of(pattern[at], at);
  return (end == std::string_view::npos ? pattern.size() : end) - at;
}

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

/// The offset written as "+hhmm" or "-hhmm".
std::optional<std::chrono::minutes> offsetOf(std::string_view text) {
  if (text.size() != 5 || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  for (const char character : text.substr(1)) {
    if (!isDigit(character)) return std::nullopt;
  }
  const int hours = (text[1] - '0') * 10 + (text[2] - '0');
  const int minutes = (text[3] - '0') * 10 + (text[4] - '0');
  if (hours > 23 || minutes > 59) return std::nullopt;
  return std::chrono::minutes((text[0] == '-' ? -1 : 1) * (hours * 60 + minutes));
}

}  // namespace

/// Goes through the pattern backwards; each letter takes the last digit that its field has left.
std::string formatted(Date date, std::string_view pattern) {
  Fields rest = fieldsOf(date);
  std::string text(pattern);
  for (std::size_t at = text.size(); at-- > 0;) {
    const std::size_t field = fieldOf(text[at]);
    if (field == noField) continue;
    const auto number = static_cast<unsigned>(rest[field]);
    text[at] = static_cast<char>('0' + number % 10);
    rest[field] = static_cast<int>(number / 10);
  }
  return text;
}

std::optional<Date> parsed(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return std::nullopt;
  Fields fields = {1, 1, 1, 0, 0, 0, 0};
  for (std::size_t at = 0; at < pattern.size();) {
    const std::size_t field = fieldOf(pattern[at]);
    if (field == noField) {
      if (text[at] != pattern[at]) return std::nullopt;
      ++at;
      continue;
    }
    int value = 0;
    for (const std::size_t end = at + runLength(pattern, at); at < end; ++at) {
      if (!isDigit(text[at])) return std::nullopt;
      value = value * 10 + (text[at] - '0');
    }
    fields[field] = value;
  }
  return dateOf(fields);
}

std::string iso8601String(Date date) {
  return formatted(date, isoPatternWithOffset);
}

std::optional<Date> dateWithISO8601String(std::optional<std::string_view> text) {
  if (!text || Unicode::utf16Length(*text) <= 2) return distantPast;
  const std::string joined =  // without the offset's colon
      std::string(text->substr(0, text->size() - 3)) + std::string(text->substr(text->size() - 2));
  if (joined.size() < isoPattern.size()) return std::nullopt;
  const auto date = parsed(std::string_view(joined).substr(0, isoPattern.size()), isoPattern);
  const auto offset = offsetOf(std::string_view(joined).substr(isoPattern.size()));
  if (!date || !offset) return std::nullopt;
  return *date - *offset;
}

}  // namespace corvane::VCSDate
