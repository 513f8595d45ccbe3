#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Base/Result.h"

namespace corvane::Platform {

/// One process that observes one notification.
struct NotificationObserver {
  std::string name;  ///< of the notification
  pid_t process = 0;
  bool isGone = false;  ///< what a process that was killed left; the next that observes removes it
};

/// Who observes what in the group container `containerDirectory`, as it stands now, in no order, by
/// the links to their sockets. Fails when that can't be read. Changes nothing. Thread-safe.
Result<std::vector<NotificationObserver>> notificationObservers(
    const std::string& containerDirectory);

}  // namespace corvane::Platform
