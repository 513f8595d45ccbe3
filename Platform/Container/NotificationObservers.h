#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace corvane::Platform {

/// One process that observes one notification.
struct NotificationObserver {
  std::string name;  ///< of the notification
  pid_t process = 0;
  bool isGone = false;  ///< what a process that was killed left; the next that observes removes it
};

/// Who observes what in the group container `containerFolder`, as it stands now, in no order. On
/// Linux the links to their sockets say so; elsewhere nobody can tell, and it is empty. Changes
/// nothing. Safe from any thread.
std::vector<NotificationObserver> notificationObservers(const std::string& containerFolder);

}  // namespace corvane::Platform
