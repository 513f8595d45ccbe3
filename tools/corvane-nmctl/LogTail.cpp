#include "tools/corvane-nmctl/LogTail.h"

#include <algorithm>
#include <sstream>

#include "VCommons/Logging/DDLogFileManager.h"
#include "tools/corvane-nmctl/WholeFile.h"

namespace corvane::Nmctl {
namespace {

constexpr std::string_view timePattern = "0000/00/00 00:00:00:000  ";

bool beginsWithTime(std::string_view line) {
  if (line.size() < timePattern.size()) return false;
  const auto fits = [](char pattern, char c) {
    return pattern == '0' ? c >= '0' && c <= '9' : pattern == c;
  };
  return std::equal(timePattern.begin(), timePattern.end(), line.begin(), fits);
}

std::vector<std::string> linesOf(const std::string& path) {
  std::vector<std::string> lines;
  const auto text = readWhole(path);
  if (!text) return lines;
  std::istringstream rest(text.value());
  for (std::string line; std::getline(rest, line);)
    if (beginsWithTime(line)) lines.push_back(std::move(line));
  return lines;
}

}  // namespace

std::vector<std::string> lastLogLines(const std::string& folder, std::size_t count) {
  std::vector<std::string> result;
  const DDLogFileManager files(folder, "corvane-nm", 0);
  for (const DDLogFileInfo& info : files.sortedLogFiles()) {  // the newest first
    std::vector<std::string> lines = linesOf(folder + "/" + info.name);
    result.insert(result.begin(), lines.begin(), lines.end());
    if (result.size() >= count) break;
  }
  if (result.size() > count)
    result.erase(result.begin(), result.end() - static_cast<std::ptrdiff_t>(count));
  return result;
}

bool tellsOfError(const std::string& line) {
  for (const char* word : {"Can't", "Error ", "rror occured", "timeout"})
    if (line.find(word) != std::string::npos) return true;
  return false;
}

}  // namespace corvane::Nmctl
