#pragma once

#include <string>
#include <utility>
#include <vector>

#include "VCommons/VCSDate.h"

namespace corvane::Nmctl {

/// When this program tried hosts, which may have logged errors meanwhile: log lines do not say
/// which host wrote them. Kept in a file beside the logs, the last 20 times.
class OwnTrials {
 public:
  /// Reads what is kept for `container`; none if that can't be read.
  explicit OwnTrials(const std::string& container);

  /// Whether hosts were tried at `time`, or are tried since the construction.
  [[nodiscard]] bool cover(VCSDate::Date time) const;

  /// Keeps that hosts were tried from the construction until now. Not kept if it can't be written.
  void keep();

 private:
  using Span = std::pair<VCSDate::Date, VCSDate::Date>;

  std::string path_;
  VCSDate::Date begin_;
  std::vector<Span> spans_;
};

}  // namespace corvane::Nmctl
