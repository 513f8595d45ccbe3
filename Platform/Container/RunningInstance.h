#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// An instance of an application that was found running. It runs while it holds the lock of its
/// file in the registry and its process lives: a lock alone may have been handed on to a child.
/// Where the system refuses to tell of processes, the lock alone decides. One thread at a time.
class RunningInstance {
 public:
  /// The instance whose file is `name` in `directory`, if it runs. Fails when that can't be known.
  static Result<std::optional<RunningInstance>> find(const OwnedDescriptor& directory,
                                                     const std::string& name);

  /// Whether it has ended since, or given its registration back: looks anew at each call, at its
  /// process and at its file, which are kept open. True only if that is certain.
  [[nodiscard]] bool hasEnded() const;

  /// Becomes readable when the process has ended; negative where the system refuses to tell.
  [[nodiscard]] int processDescriptor() const { return process_.number(); }

 private:
  RunningInstance(OwnedDescriptor process, OwnedDescriptor file)
      : process_(std::move(process)), file_(std::move(file)) {}
  [[nodiscard]] Result<bool> hasProcessEnded() const;

  OwnedDescriptor process_;
  OwnedDescriptor file_;
};

}  // namespace corvane::Platform
