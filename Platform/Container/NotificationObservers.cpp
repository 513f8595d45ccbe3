#include "Platform/Container/NotificationObservers.h"

#include "Platform/Container/NotificationSocket.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Folders.h"

namespace corvane::Platform {

std::vector<NotificationObserver> notificationObservers(const std::string& containerFolder) {
  std::vector<NotificationObserver> result;
  const OwnedDescriptor all = Folders::open(containerFolder + "/Notifications");
  if (!all) return result;
  for (const std::string& name : Folders::entries(all)) {
    if (!Folders::isVisibleName(name)) continue;
    const OwnedDescriptor folder = Folders::open(all, name);
    if (!folder) continue;
    for (const std::string& entry : Folders::entries(folder))
      if (const auto process = ProcessFileName::processOf(entry))
        result.push_back({name, *process, NotificationSocket::isDead(folder, entry)});
  }
  return result;
}

}  // namespace corvane::Platform
