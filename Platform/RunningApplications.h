#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Base/Result.h"
#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"

namespace corvane::Platform {

/// An application that runs, as far as the system knows it.
struct RunningApplication {
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> executablePath;
};

/// The applications that run for this user, as far as they say so. On Linux: the registry in the
/// group container, one locked file per instance, so that a crash needs no cleaning up. All
/// operations belong to the loop's thread; none blocks or takes a lock. An operation that fails
/// could not look: what runs is unknown then, and worth asking again.
class RunningApplications {
 public:
  /// `loop` and `center` must outlive this object. `containerDirectory`, the directory of the
  /// registry, and `center`, by which starts are announced, are used on Linux only.
  RunningApplications(EventLoop& loop, std::string containerDirectory, NotificationCenter& center);

  /// Ends all observations.
  ~RunningApplications();
  RunningApplications(const RunningApplications&) = delete;
  RunningApplications& operator=(const RunningApplications&) = delete;

  /// How many instances of the application `bundleIdentifier` run now; on macOS as of the last turn
  /// of the run loop. Asks anew at each call.
  [[nodiscard]] Result<int> instancesOf(const std::string& bundleIdentifier) const;

  /// Whether any instance of it runs now. Looks anew at each call, too, but is cheap when the
  /// instance that it found before still runs.
  [[nodiscard]] Result<bool> isRunning(const std::string& bundleIdentifier) const;

  /// The application that process `processIdentifier` is, or nothing when it is not known as one;
  /// on Linux only those in the registry are, and they have a bundle identifier. Otherwise like
  /// instancesOf.
  [[nodiscard]] Result<std::optional<RunningApplication>> applicationOf(
      pid_t processIdentifier) const;

  /// Observes the application `bundleIdentifier`, until the end of this object; a second call for
  /// it replaces the first. Returns how many instances run now; from then on calls `changed` on the
  /// loop with their number after each start and each end, in order: an instance that ends while
  /// its successor has already started is 0, then 1. Fails if `bundleIdentifier` is not one,
  /// and if the number is not known for now: then it is looked for again, and `changed` is called
  /// with it. `changed` must not call `observe`.
  ///
  /// An instance that starts and ends before the loop can look is no change. On Linux one that
  /// gives its registration back and lives on is not counted by instancesOf from then on; `changed`
  /// reports it when the process ends or another instance starts, as nothing else makes itself
  /// heard.
  [[nodiscard]] Result<int> observe(const std::string& bundleIdentifier,
                                    std::function<void(int instances)> changed);

 private:
  struct Known;

  EventLoop& loop_;
  std::string containerDirectory_;
  NotificationCenter& center_;
  const std::unique_ptr<Known> known_;
};

}  // namespace corvane::Platform
