#include "tools/corvane-nmctl/LogRecord.h"

#include <algorithm>

namespace corvane::Nmctl {
namespace {

constexpr std::string_view timePattern = "yyyy/MM/dd HH:mm:ss:SSS";
constexpr std::string_view gap = "  ";

struct Beginning {
  std::string_view words;
  DDLogFlag level;
};

constexpr Beginning traces[] = {
    {"Error trace - ", DDLogFlag::error},
    {"Trace - ", DDLogFlag::verbose},
};

/// Behind the place in the program. All else is debug.
constexpr Beginning messages[] = {
    {"Can't ", DDLogFlag::error},
    {"Error occured: ", DDLogFlag::error},
    {"Message from browser invalid.", DDLogFlag::error},
    {"Exchange object invalid.", DDLogFlag::error},
    {"Exchange buffer for ", DDLogFlag::warning},
    {"Exchange object for ", DDLogFlag::warning},
    {"buffer is corrupted", DDLogFlag::warning},
    {"A reply has ", DDLogFlag::warning},
    {"The browser does not read", DDLogFlag::warning},
    {"Reading from the browser is paused", DDLogFlag::warning},
    {"Announcements are merged", DDLogFlag::warning},
    {"Cleared file on ", DDLogFlag::info},
};

}  // namespace

std::optional<VCSDate::Date> wallTimeOf(std::string_view line) {
  if (line.substr(std::min(timePattern.size(), line.size()), gap.size()) != gap)
    return std::nullopt;
  return VCSDate::parsed(line.substr(0, timePattern.size()), timePattern);
}

std::string_view LogRecord::stamp() const {
  return std::string_view(text).substr(0, isContinued ? 0 : timePattern.size());
}

std::string_view LogRecord::message() const {
  return std::string_view(text).substr(isContinued ? 0 : timePattern.size() + gap.size());
}

std::size_t endOfPlace(std::string_view message) {
  if (!message.starts_with('(')) return 0;
  int depth = 0;
  for (std::size_t at = 0; at < message.size(); ++at) {
    if (message[at] == '(') ++depth;
    if (message[at] == ')' && --depth == 0) return at + 1;
  }
  return 0;
}

DDLogFlag levelOf(std::string_view message) {
  for (const auto& [words, level] : traces)
    if (message.starts_with(words)) return level;
  const std::size_t place = endOfPlace(message);
  if (place > 0) message.remove_prefix(std::min(place + 1, message.size()));
  for (const auto& [words, level] : messages)
    if (message.starts_with(words)) return level;
  return DDLogFlag::debug;
}

std::string_view nameOf(DDLogFlag level) {
  switch (level) {
    case DDLogFlag::error:
      return "error";
    case DDLogFlag::warning:
      return "warning";
    case DDLogFlag::info:
      return "info";
    case DDLogFlag::debug:
      return "debug";
    case DDLogFlag::verbose:
      return "verbose";
  }
  return "";
}

}  // namespace corvane::Nmctl
