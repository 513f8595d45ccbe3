#pragma once

#include <string>

#include "SharedComponents/Configuration.h"

/// The names of notifications and files that both sides of the link know.
namespace corvane::MainApp {

/// The name of the notification `word`: "exchange", "ready", "appState" or "appReconfig".
inline std::string notificationName(const std::string& word) {
  return std::string(Configuration::MainAppBundleIdentifier) + ".DARWIN_NOTIFICATION." + word;
}

/// The name under which the host `id` hears that it has a reply.
inline std::string replyNotificationName(const std::string& id) {
  return notificationName("exchange." + id);
}

/// Whether `id` can name a file and a notification.
inline bool isUsableIdentifier(const std::string& id) {
  constexpr std::size_t longest = 100;
  return !id.empty() && id.size() <= longest &&
         id.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

}  // namespace corvane::MainApp
