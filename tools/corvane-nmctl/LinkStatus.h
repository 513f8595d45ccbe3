#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tools/corvane-nmctl/Link.h"

namespace corvane::Nmctl {

/// A process at one end of the link.
struct LinkProcess {
  pid_t process = 0;
  std::optional<std::chrono::seconds> age;  ///< nothing if that is unknown
  std::string replyFile = {};               ///< the name of a host's; "": none yet
  bool isGone = false;                      ///< it was killed, and what it observed is left
};

/// The link as it is now.
struct LinkStatus {
  std::optional<bool> isApplicationRunning;  ///< nothing if that is unknown
  std::vector<LinkProcess> applications;  ///< the main application that runs; one, if all is well
  std::vector<LinkProcess> hosts;
  /// Nothing if that can't be read.
  std::optional<std::vector<Platform::NotificationObserver>> observers;
  std::vector<ExchangeFileFacts> files;
  std::vector<Fault> problems;  ///< what could not be looked at

  /// Whether `file` holds replies to a host that has ended; nothing if that is unknown.
  [[nodiscard]] std::optional<bool> isLeft(const ExchangeFileFacts& file) const;
};

/// Looks at the link in `container`, and changes nothing. Waits for the lock of each exchange file
/// for 200 ms.
LinkStatus linkStatusOf(const std::string& container);

/// "12 s", "5 min", "2 h 5 min", "3 d 2 h".
std::string shownAge(std::chrono::seconds age);

}  // namespace corvane::Nmctl
