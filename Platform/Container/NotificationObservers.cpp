#include "Platform/Container/NotificationObservers.h"

#include "Platform/Container/NotificationSocket.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Folders.h"

namespace corvane::Platform {

Result<std::vector<NotificationObserver>> notificationObservers(
    const std::string& containerFolder) {
  std::vector<NotificationObserver> result;
  const auto all = Folders::open(containerFolder + "/Notifications");
  if (!all && all.failure().cause == FailureCause::notFound) return result;
  if (!all) return all.failure();
  const auto names = Folders::entries(all.value());
  if (!names) return names.failure();
  for (const std::string& name : names.value()) {
    if (!Folders::isVisibleName(name)) continue;
    const auto folder = Folders::open(all.value(), name);
    if (!folder && folder.failure().cause == FailureCause::notFound) continue;  // or a stray file
    if (!folder) return folder.failure();
    const auto entries = Folders::entries(folder.value());
    if (!entries) return entries.failure();
    for (const std::string& entry : entries.value())
      if (const auto process = ProcessFileName::processOf(entry))
        result.push_back({name, *process, NotificationSocket::isDead(folder.value(), entry)});
  }
  return result;
}

}  // namespace corvane::Platform
