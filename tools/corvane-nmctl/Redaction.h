#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace corvane::Nmctl {

/// What may leave the machine of texts that may hold what it must not: addresses of pages, rules,
/// names of people.
class Redaction {
 public:
  /// `homes`: the home folders of the user, of which the names are somebody's; where they lead,
  /// too.
  explicit Redaction(std::vector<std::string> homes);

  /// A text of this program's own: a home folder becomes "~", its name "USER" wherever it stands as
  /// a word.
  [[nodiscard]] std::string text(std::string_view text) const;

  /// A log line. What it says in fixed words stays: time, place in the program, the message up to
  /// the first thing that came from outside; behind it names of commands, truth values and sizes
  /// that stand as words, and texts of system errors. The rest becomes "…".
  [[nodiscard]] std::string logLine(std::string_view line) const;

 private:
  std::vector<std::string> homes_;
};

}  // namespace corvane::Nmctl
