#include "VCommons/VCSDate.h"

#include <array>

#include "Base/Unicode.h"

namespace corvane::VCSDate {
namespace {

constexpr std::string_view isoPattern = "yyyy-MM-ddTHH:mm:ss.SSS";
constexpr std::string_view fieldLetters = "yMdHmsS";

/// The seven fields in the order of fieldLetters.
using Fields = std::array<int, fieldLetters.size()>;

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

/// How often the character at `at` stands there in a row.
std::size_t runLength(std::string_view pattern, std::size_t at) {
  const std::size_t end = pattern.find_first_not_of(pattern[at], at);
  return (end == std::string_view::npos ? pattern.size() : end) - at;
}

/// Puts the digits of `number`, not negative, over the zeros that end before `end`.
void putNumber(std::string& text, std::size_t end, int number) {
  for (; number > 0; number /= 10) text[--end] = static_cast<char>('0' + number % 10);
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

std::string formatted(Date date, std::string_view pattern) {
  const Fields fields = fieldsOf(date);
  std::string text;
  for (std::size_t at = 0; at < pattern.size();) {
    const std::size_t field = fieldLetters.find(pattern[at]);
    if (field == std::string_view::npos) {
      text += pattern[at++];
      continue;
    }
    const std::size_t length = runLength(pattern, at);
    const std::string digits = std::to_string(fields[field]);
    if (digits.size() < length) text.append(length - digits.size(), '0');
    text += digits;
    at += length;
  }
  return text;
}

std::optional<Date> parsed(std::string_view text, std::string_view pattern) {
  if (text.size() != pattern.size()) return std::nullopt;
  Fields fields = {1, 1, 1, 0, 0, 0, 0};
  for (std::size_t at = 0; at < pattern.size();) {
    const std::size_t field = fieldLetters.find(pattern[at]);
    if (field == std::string_view::npos) {
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
  const auto [year, month, day, hour, minute, second, millisecond] = fieldsOf(date);
  if (year < 0 || year > 9999) return formatted(date, isoPattern) + "+00:00";
  std::string text = "0000-00-00T00:00:00.000+00:00";
  putNumber(text, 4, year);
  putNumber(text, 7, month);
  putNumber(text, 10, day);
  putNumber(text, 13, hour);
  putNumber(text, 16, minute);
  putNumber(text, 19, second);
  putNumber(text, 23, millisecond);
  return text;
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
