#include "Platform/NotificationObservers.h"

namespace corvane::Platform {

std::vector<NotificationObserver> notificationObservers(const std::string& /*containerFolder*/) {
  return {};
}

}  // namespace corvane::Platform
