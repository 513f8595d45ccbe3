#pragma once

#include <memory>
#include <string>

#include "Base/Result.h"
#include "Platform/NotificationCenter.h"

namespace corvane::Platform {

/// That this process runs as an application, for RunningApplications of any process of the user.
/// Ends with the object or, however it ends, with the process; a child that the process starts does
/// not prolong it. On Linux: a locked file in the registry of the group container. Elsewhere the
/// system knows by itself what runs, and this does nothing.
class ApplicationRegistration {
 public:
  /// Registers this process as an instance of `bundleIdentifier` and then tells all who observe it,
  /// through `center`, which is used in this call only. To be called when the application is ready.
  /// Removes what dead instances left. `containerDirectory` must exist; the registry in it is made
  /// when missing. Fails, with nothing left behind, when the registry can't be written or
  /// `bundleIdentifier` is no name for a directory or too long to be posted.
  static Result<ApplicationRegistration> make(const std::string& containerDirectory,
                                              const std::string& bundleIdentifier,
                                              NotificationCenter& center);

  ApplicationRegistration(ApplicationRegistration&& other) noexcept;
  ApplicationRegistration& operator=(ApplicationRegistration&& other) noexcept;
  ApplicationRegistration(const ApplicationRegistration&) = delete;
  ApplicationRegistration& operator=(const ApplicationRegistration&) = delete;

  /// Takes the registration back: from now on no process counts this one. Those who observe hear of
  /// it when this process ends, or when another instance starts. In a forked copy of the process it
  /// leaves the registration as it is.
  ~ApplicationRegistration();

 private:
  class Implementation;
  explicit ApplicationRegistration(std::unique_ptr<Implementation> implementation);

  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
