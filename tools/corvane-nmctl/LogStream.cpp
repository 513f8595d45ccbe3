#include "tools/corvane-nmctl/LogStream.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "tools/corvane-nmctl/LocalTime.h"

namespace corvane::Nmctl {
namespace {

/// Lines may be written this much later than they are dated.
constexpr std::chrono::minutes longestDelay(1);

void sortByTime(std::vector<LogRecord>& records) {
  std::stable_sort(records.begin(), records.end(),
                   [](const auto& left, const auto& right) { return left.time < right.time; });
}

}  // namespace

LogStream::LogStream(std::string folder)
    : folder_(std::move(folder)), files_(folder_, "corvane-nm", 0) {}

void LogStream::openNew(const std::vector<DDLogFileInfo>& infos) {
  for (const DDLogFileInfo& info : infos) {
    if (sources_.count(info.name) != 0) continue;
    auto file = Platform::File::open(folder_ + "/" + info.name, Platform::File::Access::read);
    if (!file) continue;
    LogRecord none;
    none.time = info.created;
    none.file = info.name;
    none.isContinued = true;
    sources_.emplace(info.name, Source{std::move(file).value(), {}, std::move(none)});
  }
}

/// `isFirst`: there is no record of this file among `records` to which the line could belong.
void LogStream::add(Source& source, std::string_view line, bool isFirst,
                    std::vector<LogRecord>& records) {
  const auto wall = wallTimeOf(line);
  if (!wall && !isFirst) {
    records.back().text.append("\n").append(line);
    return;
  }
  LogRecord& record = source.last;
  record.isContinued = !wall;
  record.text = line;
  if (wall) {
    record.time = LocalTime::moment(*wall, record.time - longestDelay);
    record.level = levelOf(record.message());
  }
  records.push_back(record);
}

void LogStream::readAll(Source& source, std::vector<LogRecord>& records) {
  const std::size_t before = records.size();
  std::array<std::byte, 65536> bytes{};
  for (;;) {
    const auto count = source.file.read(bytes);
    if (!count || count.value() == 0) return;
    source.rest += textOf(std::span(bytes).first(count.value()));
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = source.rest.find('\n', begin)) != std::string::npos;
         begin = end + 1)
      add(source, std::string_view(source.rest).substr(begin, end - begin),
          records.size() == before, records);
    source.rest.erase(0, begin);
  }
}

std::vector<LogRecord> LogStream::takeNew() {
  const auto listed = files_.sortedLogFiles();
  if (listed) openNew(listed.value());
  std::vector<LogRecord> records;
  for (auto source = sources_.begin(); source != sources_.end();) {
    readAll(source->second, records);
    const auto isIt = [&](const DDLogFileInfo& info) { return info.name == source->first; };
    const bool isThere = !listed || std::any_of(listed.value().begin(), listed.value().end(), isIt);
    source = isThere ? std::next(source) : sources_.erase(source);
  }
  sortByTime(records);
  return records;
}

std::vector<LogRecord> LogStream::takeRest() {
  std::vector<LogRecord> records;
  for (auto& [name, source] : sources_)
    if (!source.rest.empty()) add(source, std::exchange(source.rest, {}), true, records);
  sortByTime(records);
  return records;
}

std::vector<std::string> LogStream::paths() const {
  std::vector<std::string> result;
  result.reserve(sources_.size());
  for (const auto& [name, source] : sources_) result.push_back(folder_ + "/" + name);
  return result;
}

}  // namespace corvane::Nmctl
