#pragma once

#include <functional>

namespace corvane::Platform {

/// Calls `changed` whenever the system's list of running applications has changed, on the main
/// thread, while its run loop turns. Safe from any thread.
class WorkspaceObserver {
 public:
  explicit WorkspaceObserver(std::function<void()> changed);

  /// Ends it; a call that runs on the main thread goes on, and what `changed` owns may go later.
  ~WorkspaceObserver();
  WorkspaceObserver(const WorkspaceObserver&) = delete;
  WorkspaceObserver& operator=(const WorkspaceObserver&) = delete;

 private:
  struct Registration;
  Registration* const registration_;
};

}  // namespace corvane::Platform
