#pragma once

#include <string>

namespace corvane::Platform {

/// The applications that run for this user, as far as they say so. On Linux: the registry in the
/// group container, one locked file per instance, so that a crash needs no cleaning up.
class RunningApplications {
 public:
  /// `containerFolder`: where the registry lies on Linux; not used elsewhere.
  explicit RunningApplications(std::string containerFolder);

  /// How many instances of the application `bundleIdentifier` run now. Asks anew at each call,
  /// waits for nobody, takes no lock. Safe from any thread.
  [[nodiscard]] int instancesOf(const std::string& bundleIdentifier) const;

 private:
  std::string containerFolder_;
};

}  // namespace corvane::Platform
