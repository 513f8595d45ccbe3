#include "tools/corvane-nmctl/LogTail.h"

#include <algorithm>

#include "tools/corvane-nmctl/LogStream.h"

namespace corvane::Nmctl {

std::vector<LogRecord> lastLogLines(const std::string& folder, std::size_t count) {
  std::vector<LogRecord> records = LogStream(folder).takeNew();
  std::erase_if(records, [](const LogRecord& record) { return record.isContinued; });
  records.erase(records.begin(),
                records.end() - static_cast<std::ptrdiff_t>(std::min(records.size(), count)));
  for (LogRecord& record : records)
    record.text.resize(std::min(record.text.find('\n'), record.text.size()));
  return records;
}

}  // namespace corvane::Nmctl
