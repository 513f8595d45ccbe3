#include "tools/corvane-nmctl/LocalTime.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <string>

namespace corvane::Nmctl::LocalTime {
namespace {

using namespace std::chrono_literals;

/// `wall` as the C library takes it; `summer`: whether summer time counts, below 0 as it may be.
std::tm brokenDown(Date wall, int summer) {
  const auto day = std::chrono::floor<std::chrono::days>(wall);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(std::chrono::floor<std::chrono::seconds>(wall - day));
  std::tm result = {};
  result.tm_year = static_cast<int>(date.year()) - 1900;
  result.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
  result.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
  result.tm_hour = static_cast<int>(time.hours().count());
  result.tm_min = static_cast<int>(time.minutes().count());
  result.tm_sec = static_cast<int>(time.seconds().count());
  result.tm_isdst = summer;
  return result;
}

Date converted(Date wall, int summer) {
  std::tm fields = brokenDown(wall, summer);
  const auto second = std::chrono::system_clock::from_time_t(std::mktime(&fields));
  const bool exists = summer < 0 || fields.tm_isdst == summer;
  if (!exists) return converted(wall, -1);
  return std::chrono::floor<std::chrono::milliseconds>(second) + wall.time_since_epoch() % 1s;
}

std::optional<Date> someTimeAgo(std::string_view text, Date now) {
  std::uint32_t count = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, count);
  if (error != std::errc() || end - rest != 1) return std::nullopt;
  constexpr std::string_view letters = "smhd";
  constexpr std::chrono::seconds units[] = {1s, 1min, 1h, 24h};
  const std::size_t unit = letters.find(*rest);
  if (unit == std::string_view::npos) return std::nullopt;
  return std::max(now - units[unit] * std::int64_t{count}, VCSDate::distantPast);
}

}  // namespace

Date moment(Date wall, Date earliest) {
  const Date first = converted(wall, 1);
  const Date second = converted(wall, 0);
  return first < earliest ? std::max(first, second) : std::min(first, second);
}

std::optional<Date> since(std::string_view text, Date now) {
  if (const auto ago = someTimeAgo(text, now)) return ago;
  std::string date(text);
  std::replace(date.begin(), date.end(), 'T', ' ');
  std::replace(date.begin(), date.end(), '/', '-');
  for (const char* pattern :
       {"yyyy-MM-dd", "yyyy-MM-dd HH:mm", "yyyy-MM-dd HH:mm:ss", "yyyy-MM-dd HH:mm:ss:SSS"})
    if (const auto wall = VCSDate::parsed(date, pattern)) return moment(*wall);
  return std::nullopt;
}

}  // namespace corvane::Nmctl::LocalTime
