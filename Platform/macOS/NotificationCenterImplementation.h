#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Platform/NotificationCenter.h"
#include "Platform/Posix/NotificationCallbacks.h"
#include "Platform/macOS/EventQueue.h"

namespace corvane::Platform {

/// Hears the Darwin notifications on a queue of their own. The Darwin center of CoreFoundation uses
/// the same names but tells them on the main run loop: there a browser that does not read would
/// hold up every reply.
class NotificationCenter::Implementation {
 public:
  Implementation() = default;
  ~Implementation();
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  bool observe(const std::string& name, Callback callback);
  void stopObserving(const std::string& name);
  void withdraw();

  /// Records in the system log that `name` can't be heard.
  static void report(const std::string& name, std::uint32_t status);

  /// Where callbacks run, up to `withdraw`; for whatever else the process must hear of.
  EventQueue& queue() { return queue_; }

 private:
  /// Also owned by the system's registrations: it may call once more when one has been given back.
  const std::shared_ptr<NotificationCallbacks> callbacks_ =
      std::make_shared<NotificationCallbacks>();

  std::mutex setupMutex_;              // guards what is below
  std::map<std::string, int> tokens_;  // of the registrations, by name; they stay to the end
  bool isWithdrawn_ = false;

  EventQueue queue_{"notifications"};
};

}  // namespace corvane::Platform
