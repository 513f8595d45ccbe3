#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace corvane {

/// Facts about other processes of the system. Stateless and thread-safe.
class VCSSystemUtils {
 public:
  /// The full path of the executable file of process `pid`, queried at each call. Nothing if there
  /// is no such process (any more), if this process may not know, if the path is longer than 4095
  /// bytes, or if the system can't tell for now (it lacks memory, for example).
  static std::optional<std::string> execPathForPid(std::int32_t pid);
};

}  // namespace corvane
