#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "Platform/RunningApplications.h"

namespace corvane::RequestProcessing {

/// The application that started this process: a browser. Not thread-safe.
class CallerApplication {
 public:
  /// Records the parent process and the path of its executable. Construct it early: when the
  /// browser has ended, neither can be found out any more.
  CallerApplication();

  /// Returns the name by which the main application knows the browser: its bundle identifier or, if
  /// it has none or is not known to the system, the file name of its executable. Cached unless
  /// `applications` fails; then the executable's name is returned and the next call asks again.
  /// Ends the process if there is no name at all.
  std::string name(const Platform::RunningApplications& applications);

 private:
  [[nodiscard]] std::string nameOf(
      const std::optional<Platform::RunningApplication>& application) const;

  const pid_t process_;
  std::optional<std::string> path_;  // of the executable; nothing: not found yet
  std::optional<std::string> name_;  // once it is certain
};

}  // namespace corvane::RequestProcessing
