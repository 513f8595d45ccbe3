#include "Platform/Container/NotificationObservers.h"

#include "Platform/Container/NotificationSocket.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Directories.h"

namespace corvane::Platform {

Result<std::vector<NotificationObserver>> notificationObservers(
    const std::string& containerDirectory) {
  std::vector<NotificationObserver> result;
  const auto all = Directories::open(containerDirectory + "/Notifications");
  if (!all && all.failure().cause == FailureCause::notFound) return result;
  if (!all) return all.failure();
  const auto names = Directories::entries(all.value());
  if (!names) return names.failure();
  for (const std::string& name : names.value()) {
    if (!Directories::isVisibleName(name)) continue;
    const auto directory = Directories::open(all.value(), name);
    if (!directory && directory.failure().cause == FailureCause::notFound)
      continue;  // or a stray file
    if (!directory) return directory.failure();
    const auto entries = Directories::entries(directory.value());
    if (!entries) return entries.failure();
    for (const std::string& entry : entries.value())
      if (const auto process = ProcessFileName::processOf(entry))
        result.push_back({name, *process, NotificationSocket::isDead(directory.value(), entry)});
  }
  return result;
}

}  // namespace corvane::Platform
