#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// Dates as strings, in UTC and to the millisecond; finer parts are rounded down. The calendar is
/// the Gregorian one, also for dates before its introduction; years are 1 to 9999. A string of
/// another form gives no date; nothing else fails. Thread-safe.
namespace corvane::VCSDate {

using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

/// 0001-01-01T00:00:00Z: before any time that occurs.
inline constexpr Date distantPast =
    std::chrono::sys_days(std::chrono::year(1) / std::chrono::January / 1);

/// `date` in ISO 8601 form (https://www.rfc-editor.org/rfc/rfc3339):
/// "2024-03-05T14:07:09.123+00:00".
std::string iso8601String(Date date);
/// The same for a time of any resolution.
template <class Duration>
std::string iso8601String(std::chrono::time_point<std::chrono::system_clock, Duration> date) {
  return iso8601String(Date(std::chrono::floor<std::chrono::milliseconds>(date)));
}

/// The inverse of iso8601String, with any offset from "-23:59" to "+23:59". No string, or one of at
/// most two UTF-16 code units, is `distantPast`; a string of another form gives nothing.
std::optional<Date> dateWithISO8601String(std::optional<std::string_view> text);

/// `date` by `pattern`: runs of y, M, d, H, m, s and S stand for year, month, day, hour, minute,
/// second and millisecond. Each run gives as many digits as it is long: the last ones of the
/// number, or leading zeros before it. All other characters stand for themselves.
std::string formatted(Date date, std::string_view pattern);

/// The inverse of `formatted`. Nothing unless `text` has exactly the form of `pattern` and names an
/// existing moment (no 30 February, no second 60). A field that is not in `pattern` is the first of
/// its kind: year 1, January, midnight.
std::optional<Date> parsed(std::string_view text, std::string_view pattern);

}  // namespace corvane::VCSDate
