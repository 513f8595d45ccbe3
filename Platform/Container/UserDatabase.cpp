#include "Platform/Container/UserDatabase.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

namespace corvane::Platform {
namespace {

std::string_view takeUntil(char end, std::string_view& text) {
  const std::string_view taken = text.substr(0, text.find(end));
  text.remove_prefix(std::min(taken.size() + 1, text.size()));
  return taken;
}

constexpr std::string_view blanks = " \t";

void skipBlanks(std::string_view& line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
}

/// Takes the next word off the front of `line`.
std::string_view takeWord(std::string_view& line, std::string_view ends = blanks) {
  skipBlanks(line);
  const std::string_view word = line.substr(0, line.find_first_of(ends));
  line.remove_prefix(word.size());
  return word;
}

/// Translates the list of sources of one line.
UserDatabase::Sources sourcesOf(std::string_view list) {
  using UserDatabase::Sources;
  if (takeWord(list) != "files") return Sources::others;
  const std::string_view next = takeWord(list);
  if (next.empty()) return Sources::fileOnly;
  // An action in brackets after a source may have others asked even if that one answers.
  return next.front() == '[' ? Sources::others : Sources::fileFirst;
}

}  // namespace

/// As the C library does: the colon may be missing, and of several lines the last one counts.
UserDatabase::Sources UserDatabase::sourcesIn(std::string_view configuration) {
  Sources sources = Sources::fileOnly;
  while (!configuration.empty()) {
    std::string_view line = takeUntil('\n', configuration);
    line = line.substr(0, line.find('#'));
    if (takeWord(line, " \t:") != "passwd") continue;
    skipBlanks(line);
    if (line.starts_with(':')) line.remove_prefix(1);
    sources = sourcesOf(line);
  }
  return sources;
}

std::optional<std::string> UserDatabase::homeIn(std::string_view text, uid_t user) {
  while (!text.empty()) {
    std::string_view line = takeUntil('\n', text);
    std::array<std::string_view, 6> fields;  // name, password, user, group, description, home
    for (std::string_view& field : fields) field = takeUntil(':', line);
    const std::string_view number = fields[2];
    uid_t found = 0;
    const auto read = std::from_chars(number.data(), number.data() + number.size(), found);
    if (read.ec != std::errc() || read.ptr != number.data() + number.size()) continue;
    // First characters of comments and of lines that refer to other sources.
    constexpr std::string_view noName = "#+-";
    if (fields[0].empty() || noName.find(fields[0].front()) != noName.npos) continue;
    if (found == user) return std::string(fields[5].substr(0, 1) == "/" ? fields[5] : "");
  }
  return std::nullopt;
}

}  // namespace corvane::Platform
