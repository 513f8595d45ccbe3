#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/File.h"
#include "VCommons/Logging/DDLogFileManager.h"
#include "tools/corvane-nmctl/LogRecord.h"

namespace corvane::Nmctl {

/// The log files of a folder, rolled ones too, as one stream. One thread.
class LogStream {
 public:
  /// Opens nothing yet; `folder` need not exist.
  explicit LogStream(std::string folder);

  /// What has come since the last call, of all files, in order of time; what came at the same
  /// time, in the order in which it was written. A line that is not finished waits for the next
  /// call. A file that is gone is read to its end first.
  std::vector<LogRecord> takeNew();

  /// The lines that are not finished, for who does not call again.
  std::vector<LogRecord> takeRest();

  /// The paths of the files that are open, the newest last.
  [[nodiscard]] std::vector<std::string> paths() const;

 private:
  struct Source {
    Platform::File file;
    std::string rest;  // begins a line
    LogRecord last;    // the record that further lines belong to
  };

  void openNew(const std::vector<DDLogFileInfo>& infos);
  static void readAll(Source& source, std::vector<LogRecord>& records);
  static void add(Source& source, std::string_view line, bool isFirst,
                  std::vector<LogRecord>& records);

  std::string folder_;
  DDLogFileManager files_;
  std::map<std::string, Source> sources_;  // by name: in the order in which they were made
};

}  // namespace corvane::Nmctl
