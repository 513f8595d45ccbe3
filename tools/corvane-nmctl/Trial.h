#pragma once

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
  std::string version;             ///< what it says of itself
  bool isApplicationSeen = false;  ///< whether the main application answered all that it was asked
  /// The error with which the main application answered the host; "" when it did not.
  std::string applicationError;
};

/// What the host is asked: a hand-shake.
JsonObject greeting(const std::string& identifier);

/// Starts the host with these arguments, greets it, asks for the state of the main application when
/// `asksForState` and that answered the greeting, and ends it by ending its input. Waits for each
/// answer for 5 s, which is longer than the host waits for the main application, and as long for
/// its end.
Trial tryHost(const std::string& path, std::vector<std::string> arguments, bool asksForState);

}  // namespace corvane::Nmctl
