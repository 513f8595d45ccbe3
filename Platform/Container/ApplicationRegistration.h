#pragma once

#include <memory>
#include <string>

#include "Base/Result.h"
#include "Platform/NotificationCenter.h"

namespace corvane::Platform {

/// Registers this process as a running application, so that RunningApplications finds it in every
/// process of the user. The registration ends with this object or with the process, however that
/// ends; child processes do not prolong it. It is a locked file in the registry of the group
/// container (ApplicationRegistry). Movable. One thread at a time.
class ApplicationRegistration {
 public:
  /// Registers this process as an instance of `bundleIdentifier` and then posts the notification
  /// that all observers of the application wait for. Call it when the application is ready for
  /// requests. Removes what dead instances left behind. `containerDirectory` must exist; the
  /// registry in it is created if missing. `center` is used in this call only. Fails if the
  /// registry can't be written, or if `bundleIdentifier` can't name a directory and a notification;
  /// no registration is left then.
  static Result<ApplicationRegistration> make(const std::string& containerDirectory,
                                              const std::string& bundleIdentifier,
                                              NotificationCenter& center);

  ApplicationRegistration(ApplicationRegistration&& other) noexcept;
  ApplicationRegistration& operator=(ApplicationRegistration&& other) noexcept;
  ApplicationRegistration(const ApplicationRegistration&) = delete;
  ApplicationRegistration& operator=(const ApplicationRegistration&) = delete;

  /// Ends the registration: no process counts this one any more. Observers are told only when this
  /// process ends or another instance starts. In a forked copy of the process it does nothing.
  ~ApplicationRegistration();

 private:
  class Implementation;
  explicit ApplicationRegistration(std::unique_ptr<Implementation> implementation);

  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
