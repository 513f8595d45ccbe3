#pragma once

#include <string>
#include <utility>
#include <vector>

#include "VCommons/VCSDate.h"
#include "tools/corvane-nmctl/Link.h"

namespace corvane::Nmctl {

/// The time spans in which this program tried hosts, which may have logged errors. Log lines do not
/// say which host wrote them, so errors that browsers' hosts logged in these spans are covered,
/// too. Saved in a file beside the logs, the last 20 spans.
class OwnTrials {
 public:
  /// Reads the spans of `container`; none if they can't be read. Neither reads nor saves any if the
  /// container or the way to its logs has a fault.
  explicit OwnTrials(const Container& container);

  /// Whether hosts were tried at `time`, or since construction.
  [[nodiscard]] bool cover(VCSDate::Date time) const;

  /// Saves the time span of this run, from construction until now. Not saved if the file can't be
  /// written.
  void keep();

 private:
  using Span = std::pair<VCSDate::Date, VCSDate::Date>;

  std::string path_;  ///< of the file; empty if there is none to use
  VCSDate::Date begin_;
  std::vector<Span> spans_;
};

}  // namespace corvane::Nmctl
