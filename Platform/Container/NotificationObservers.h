#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "Base/Result.h"

namespace corvane::Platform {

/// A process that observes a notification.
struct NotificationObserver {
  std::string name;  ///< the notification
  pid_t process = 0;
  bool isGone = false;  ///< its process was killed; the next process that observes removes it
};

/// Lists the observers of all notifications in the group container `containerDirectory`, as they
/// are now and in no particular order: one element for each link to a socket. Empty if nothing was
/// ever observed. Fails if a directory can't be read. Changes nothing. For diagnosis. Thread-safe.
Result<std::vector<NotificationObserver>> notificationObservers(
    const std::string& containerDirectory);

}  // namespace corvane::Platform
