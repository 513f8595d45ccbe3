#include "VCommons/Logging/DDLogFileFormatterDefault.h"

#include <ctime>

#include "VCommons/VCSDate.h"

namespace corvane::DDLogFileFormatterDefault {
namespace {

/// The local time at `time`, as a date whose UTC fields are the local ones.
VCSDate::Date localDate(std::chrono::system_clock::time_point time) {
  const auto second = std::chrono::floor<std::chrono::seconds>(time);
  const std::time_t unixTime = second.time_since_epoch().count();
  std::tm local = {};
  if (::localtime_r(&unixTime, &local) == nullptr) return VCSDate::distantPast;
  const auto day = std::chrono::year(local.tm_year + 1900) / (local.tm_mon + 1) / local.tm_mday;
  return VCSDate::Date(std::chrono::sys_days(day)) + std::chrono::hours(local.tm_hour) +
         std::chrono::minutes(local.tm_min) + std::chrono::seconds(local.tm_sec) +
         std::chrono::floor<std::chrono::milliseconds>(time - second);
}

}  // namespace

std::string lineOf(const DDLogMessage& message) {
  const auto time = message.timestamp.value_or(std::chrono::system_clock::time_point());
  std::string line = VCSDate::formatted(localDate(time), "yyyy/MM/dd HH:mm:ss:SSS") + "  ";
  line += message.message;
  if (!line.ends_with('\n')) line += '\n';
  return line;
}

}  // namespace corvane::DDLogFileFormatterDefault
