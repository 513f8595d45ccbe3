#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace corvane::Platform {

/// An application that runs, as far as the system knows it.
struct RunningApplication {
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> executablePath;
};

/// The applications that run for this user, as far as they say so. On Linux: the registry in the
/// group container, one locked file per instance, so that a crash needs no cleaning up.
class RunningApplications {
 public:
  /// `containerFolder`: where the registry lies on Linux; not used elsewhere.
  explicit RunningApplications(std::string containerFolder);

  /// How many instances of the application `bundleIdentifier` run now. Asks anew at each call,
  /// waits for nobody, takes no lock. Safe from any thread.
  [[nodiscard]] int instancesOf(const std::string& bundleIdentifier) const;

  /// The application that process `processIdentifier` is, or nothing when it is none that says so;
  /// on Linux only those in the registry do, and they give their bundle identifier. Otherwise like
  /// instancesOf.
  [[nodiscard]] std::optional<RunningApplication> applicationOf(pid_t processIdentifier) const;

 private:
  std::string containerFolder_;
};

}  // namespace corvane::Platform
