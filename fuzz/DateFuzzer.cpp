#include <ctime>
#include <optional>

#include "Base/Unicode.h"
#include "VCommons/VCSDate.h"
#include "fuzz/Fuzzing.h"

namespace {

using corvane::fuzzing::require;
using corvane::VCSDate::Date;
using std::chrono::milliseconds;

/// The decimal number in `count` characters of `text`, digits all, from `at` on.
int numberAt(std::string_view text, std::size_t at, std::size_t count) {
  int number = 0;
  for (const char digit : text.substr(at, count)) number = 10 * number + (digit - '0');
  return number;
}

bool hasForm(std::string_view text) {
  constexpr std::string_view form = "dddd-dd-ddTdd:dd:dd.ddd+dd?dd";
  if (text.size() != form.size()) return false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const bool isDigit = text[i] >= '0' && text[i] <= '9';
    if (form[i] == 'd' ? !isDigit : form[i] != '?' && form[i] != '+' && text[i] != form[i])
      return false;
  }
  return text[23] == '+' || text[23] == '-';
}

/// The date in `text` by the C library's calendar.
std::optional<Date> dateByTheSystem(std::string_view text) {
  if (!hasForm(text)) return std::nullopt;
  std::tm fields = {};
  fields.tm_year = numberAt(text, 0, 4) - 1900;
  fields.tm_mon = numberAt(text, 5, 2) - 1;
  fields.tm_mday = numberAt(text, 8, 2);
  fields.tm_hour = numberAt(text, 11, 2);
  fields.tm_min = numberAt(text, 14, 2);
  fields.tm_sec = numberAt(text, 17, 2);
  std::tm normal = fields;
  const std::time_t seconds = timegm(&normal);
  const bool isReal = normal.tm_year == fields.tm_year && normal.tm_mon == fields.tm_mon &&
                      normal.tm_mday == fields.tm_mday && normal.tm_hour == fields.tm_hour &&
                      normal.tm_min == fields.tm_min && normal.tm_sec == fields.tm_sec;
  const int hours = numberAt(text, 24, 2);
  const int minutes = numberAt(text, 27, 2);
  if (!isReal || fields.tm_year <= -1900 || hours > 23 || minutes > 59) return std::nullopt;
  const int offset = (text[23] == '-' ? -1 : 1) * (60 * hours + minutes);
  return Date(std::chrono::seconds(seconds) + milliseconds(numberAt(text, 20, 3)) -
              std::chrono::minutes(offset));
}

/// A date of the years 1 to 9999 that follows from the bytes.
Date dateOf(std::string_view bytes) {
  const auto first = corvane::VCSDate::distantPast;
  constexpr Date end = std::chrono::sys_days(std::chrono::year(10000) / 1 / 1);
  std::uint64_t number = 0;
  for (const char byte : bytes.substr(0, 8))
    number = number << 8 | static_cast<unsigned char>(byte);
  return first + milliseconds(number % static_cast<std::uint64_t>((end - first).count()));
}

}  // namespace

/// A text gives the moment that the system's calendar gives, and nothing where that has none; each
/// date written reads back as the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = corvane::fuzzing::textOf(data, size);
  const auto date = [&] {
    const corvane::fuzzing::MemoryBound bound(256 + 4 * size);
    return corvane::VCSDate::dateWithISO8601String(text);
  }();
  if (corvane::Unicode::utf16Length(text) <= 2)
    require(date == corvane::VCSDate::distantPast, "hardly a text is the distant past");
  else
    require(date == dateByTheSystem(text), "a date is read as the system's calendar has it");
  const Date other = dateOf(text);
  require(corvane::VCSDate::dateWithISO8601String(corvane::VCSDate::iso8601String(other)) == other,
          "what was written reads back as the same");
  return 0;
}
