#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// Dates as text, in UTC and to the millisecond; what is finer is cut off downwards. The calendar
/// is the Gregorian one, also for the time before it was introduced; years are 1 to 9999. All
/// functions are safe from any thread.
namespace corvane::VCSDate {

using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

/// 0001-01-01T00:00:00Z: before any time that occurs.
inline constexpr Date distantPast =
    std::chrono::sys_days(std::chrono::year(1) / std::chrono::January / 1);

/// `date` in ISO 8601 form (https://www.rfc-editor.org/rfc/rfc3339):
/// "2024-03-05T14:07:09.123+00:00".
std::string iso8601String(Date date);
template <class Duration>
std::string iso8601String(std::chrono::time_point<std::chrono::system_clock, Duration> date) {
  return iso8601String(Date(std::chrono::floor<std::chrono::milliseconds>(date)));
}

/// The date that iso8601String wrote so, with any offset: "+02:00" counts. No string, or one of at
/// most two characters (UTF-16 code units), is the distant past; one of another form gives nothing.
std::optional<Date> dateWithISO8601String(std::optional<std::string_view> text);

/// `date` by `pattern`: runs of y, M, d, H, m, s and S stand for year, month, day, hour, minute,
/// second and millisecond with as many digits as the run is long, the last ones of the number; all
/// other characters stand for themselves.
std::string formatted(Date date, std::string_view pattern);

/// The inverse: nothing unless `text` has exactly the pattern's form and names a real moment.
std::optional<Date> parsed(std::string_view text, std::string_view pattern);

}  // namespace corvane::VCSDate
