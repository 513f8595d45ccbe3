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
  /// of its executable. Found once, on first use, and kept. The process stops when it has no name.
  const std::string& name(const Platform::RunningApplications& applications);

 private:
  [[nodiscard]] std::string find(const Platform::RunningApplications& applications) const;

  const pid_t process_;
  const std::optional<std::string> path_;
  std::optional<std::string> name_;
};

}  // namespace corvane::RequestProcessing
