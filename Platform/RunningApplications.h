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

/// A running application, as far as the system knows it: a program without a bundle, or one that
/// may not be inspected, lacks one or both.
struct RunningApplication {
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> executablePath;
};

/// The running applications of this user. On macOS the system knows them. On Linux they register
/// themselves (ApplicationRegistration): one locked file per instance in the group container, so
/// that an instance that crashes is no longer counted without any clean-up.
///
/// All operations must be called on the loop's thread; none blocks or takes a lock. A failure means
/// that the answer is unknown for now, not that nothing runs; callers ask again later.
class RunningApplications {
 public:
  /// `loop` and `center` must outlive this object. `containerDirectory`, in which the registry
  /// lies, and `center`, through which instances announce their start, are used on Linux only.
  RunningApplications(EventLoop& loop, std::string containerDirectory, NotificationCenter& center);

  /// Ends all observations; their callbacks are not called any more. Must not run inside one of
  /// them.
  ~RunningApplications();
  RunningApplications(const RunningApplications&) = delete;
  RunningApplications& operator=(const RunningApplications&) = delete;

  /// Counts the running instances of the application `bundleIdentifier`, anew at each call; on
  /// macOS as of the last turn of the run loop. 0 if `bundleIdentifier` is not known at all.
  [[nodiscard]] Result<int> instancesOf(const std::string& bundleIdentifier) const;

  /// Returns whether any instance of it is running now. Also checks anew at each call, but is cheap
  /// as long as the instance found before is still running.
  [[nodiscard]] Result<bool> isRunning(const std::string& bundleIdentifier) const;

  /// Returns the application that runs as process `processIdentifier`, or nothing if that is not
  /// known as an application. On Linux only registered ones are, and only their bundle identifier
  /// is known.
  [[nodiscard]] Result<std::optional<RunningApplication>> applicationOf(
      pid_t processIdentifier) const;

  /// Observes the application `bundleIdentifier` until this object is destroyed; a second call for
  /// it replaces the first. Returns the number of running instances. From then on calls `changed`
  /// on the loop with the new number after each start and each end; if an instance has ended and
  /// its successor has started since the last check, with 0 and then with 1. `changed` must not
  /// call `observe`.
  ///
  /// Fails if `bundleIdentifier` is not valid, and if the number is unknown for now. In the second
  /// case the observation still begins: the check is repeated, and `changed` is called with the
  /// number once it is known.
  ///
  /// An instance that starts and ends between two checks goes unnoticed. On Linux an instance that
  /// ends its registration but not its process is no longer counted by instancesOf; `changed`
  /// reports that only when the process ends or another instance starts.
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
