#include "tools/corvane-nmctl/LogTail.h"

#include <algorithm>

#include "tools/corvane-nmctl/LogStream.h"

namespace corvane::Nmctl {

std::vector<std::string> lastLogLines(const std::string& folder, std::size_t count) {
  std::vector<std::string> result;
  const std::vector<LogRecord> records = LogStream(folder).takeNew();
  for (auto record = records.rbegin(); record != records.rend() && result.size() < count; ++record)
    if (!record->isContinued) result.push_back(record->text.substr(0, record->text.find('\n')));
  std::reverse(result.begin(), result.end());
  return result;
}

bool tellsOfError(const std::string& line) {
  LogRecord record;
  record.text = line;
  return levelOf(record.message()) == DDLogFlag::error;
}

}  // namespace corvane::Nmctl
