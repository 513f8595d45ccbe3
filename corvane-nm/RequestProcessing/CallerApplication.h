#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "Platform/RunningApplications.h"

namespace corvane::RequestProcessing {

/// The browser that started this process.
class CallerApplication {
 public:
  /// Notes which process that is, and its executable: the browser may end at any time.
  CallerApplication();

  /// The name by which the main application knows it: its bundle identifier, or else the file name
  /// of its executable. Kept once it is certain. The process stops when it has no name.
  std::string name(const Platform::RunningApplications& applications);

 private:
  [[nodiscard]] std::string nameOf(
      const std::optional<Platform::RunningApplication>& application) const;

  const pid_t process_;
  std::optional<std::string> path_;
  std::optional<std::string> name_;
};

}  // namespace corvane::RequestProcessing
