#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/corvane-nmctl/Finding.h"
#include "tools/corvane-nmctl/HostProcess.h"

namespace corvane::Nmctl {

/// How starting and greeting a host went.
struct Trial {
  std::optional<Fault> fault;
  /// The fault is that it ended by itself or said nothing, as it also does when the link is broken.
  bool maybeFromLink = false;
  std::chrono::milliseconds delay = {};  ///< the longest that it took to answer
  std::string version;                   ///< what it says of itself
  bool isApplicationSeen = false;  ///< whether the main application answered all that it was asked
  /// The error with which the main application answered the host; "" when it did not.
  std::string applicationError;
};

/// What the host is asked: a hand-shake.
JsonObject greeting(const std::string& identifier);

/// No browser limits the time of an answer. This is far longer than the host waits for the main
/// application.
inline constexpr std::chrono::seconds longestAnswer{15};

struct TrialOptions {
  bool asksForState = false;                   ///< of the main application, if that answers
  std::chrono::seconds limit = longestAnswer;  ///< for each answer
};

/// Starts the host with these arguments, greets it, asks as `options` say, and ends it by ending
/// its input. Waits for its end for 5 s.
Trial tryHost(const std::string& path, std::vector<std::string> arguments,
              const TrialOptions& options);

/// "2.1 s".
std::string seconds(std::chrono::milliseconds duration);

}  // namespace corvane::Nmctl
