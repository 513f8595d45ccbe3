#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// An instance of an application that was found running. It runs while it holds the lock of its
/// file in the registry and its process lives: a lock alone may have been handed on to a child.
/// Where the system refuses to tell of processes, the lock alone decides. One thread at a time.
class RunningInstance {
 public:
  /// The instance whose file is `name` in `folder`, if it runs.
  static std::optional<RunningInstance> find(const OwnedDescriptor& folder,
                                             const std::string& name);

  /// Whether it has ended since, or given its registration back: looks anew at each call, at its
  /// process and at its file, which are kept open. What the system can't say counts as no.
  [[nodiscard]] bool hasEnded() const;

  /// From this something can be read once the process has ended; negative where it can't be had.
  [[nodiscard]] int processDescriptor() const { return process_.number(); }

 private:
  explicit RunningInstance(pid_t process);
  [[nodiscard]] bool hasProcessEnded() const;

  OwnedDescriptor process_;
  bool wasGone_;  // the process, when it was asked for
  OwnedDescriptor file_;
};

}  // namespace corvane::Platform
