#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace corvane {

/// Facts about other processes of the system. Stateless, safe from any thread.
class VCSSystemUtils {
 public:
  /// The full path of the executable file of process `pid`, or nothing: no such process, one that
  /// has ended, not permitted, a path above 4095 bytes, or not to be known
  /// now. Asks the system at each call.
  static std::optional<std::string> execPathForPid(std::int32_t pid);
};

}  // namespace corvane
