#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/NotificationCenter.h"

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
  /// `containerFolder`: where the registry lies on Linux; not used elsewhere. `center`, which must
  /// outlive this object, is used by `observe` only.
  RunningApplications(std::string containerFolder, NotificationCenter& center);

  /// No change is told any more after the return. Not from a callback of `observe`.
  ~RunningApplications();
  RunningApplications(const RunningApplications&) = delete;
  RunningApplications& operator=(const RunningApplications&) = delete;

  /// How many instances of the application `bundleIdentifier` run now. Asks anew at each call,
  /// waits for nobody, takes no lock. Safe from any thread.
  [[nodiscard]] int instancesOf(const std::string& bundleIdentifier) const;

  /// Whether any instance of it runs now. Looks anew at each call, too, but is cheap when the
  /// instance that it found before still runs. Safe from any thread.
  [[nodiscard]] bool isRunning(const std::string& bundleIdentifier) const;

  /// The application that process `processIdentifier` is, or nothing when it is none that says so;
  /// on Linux only those in the registry do, and they give their bundle identifier. Otherwise like
  /// instancesOf.
  [[nodiscard]] std::optional<RunningApplication> applicationOf(pid_t processIdentifier) const;

  /// Observes the application `bundleIdentifier`, up to the end of this object or to the center's
  /// `withdraw`; a second call for it replaces the first. Gives how many instances run now; from
  /// then on calls `changed` with their number after each start and each end, one at a time and in
  /// order: an instance that ends while its successor has already started is 0, then 1. Nothing
  /// when it can't be observed. Safe from any thread.
  ///
  /// `changed` runs on the thread of the center, perhaps before this has returned, and must only
  /// queue work: it calls nothing of this object. An instance that starts and ends before anybody
  /// could look is no change. On Linux one that gives its registration back and lives on is not
  /// counted by instancesOf from then on; `changed` tells it when the process ends or another
  /// instance starts, as nothing else makes itself heard.
  [[nodiscard]] std::optional<int> observe(const std::string& bundleIdentifier,
                                           std::function<void(int instances)> changed);

 private:
  struct Observations;
  struct Found;

  std::string containerFolder_;
  NotificationCenter& center_;
  std::unique_ptr<Observations> observations_;
  std::unique_ptr<Found> found_;
};

}  // namespace corvane::Platform
