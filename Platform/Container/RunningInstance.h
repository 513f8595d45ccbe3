#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>

#include "Base/Result.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// A running instance of an application. It counts as running while it holds the lock on its file
/// in the registry and its process lives; the lock alone does not suffice, because a child process
/// may have inherited it. If the system gives no access to processes (pidfd_open(2) is forbidden in
/// some sandboxes), the lock alone decides. Keeps both open, so that a reused process identifier or
/// file name can't be mistaken for it. Movable. One thread at a time.
class RunningInstance {
 public:
  /// Returns the instance whose file is `name` in `directory`, or nothing if it is not running or
  /// `name` is not the file of an instance. Fails if that is unknown for now.
  static Result<std::optional<RunningInstance>> find(const OwnedDescriptor& directory,
                                                     const std::string& name);

  /// Returns true if the instance has certainly ended or has released its registration; checked
  /// anew at each call.
  [[nodiscard]] bool hasEnded() const;

  /// A descriptor that becomes readable when the process ends, or negative if the system gives no
  /// access to it. Stays owned by this object.
  [[nodiscard]] int processDescriptor() const { return process_.number(); }

 private:
  RunningInstance(OwnedDescriptor process, OwnedDescriptor file)
      : process_(std::move(process)), file_(std::move(file)) {}
  [[nodiscard]] Result<bool> hasProcessEnded() const;

  OwnedDescriptor process_;
  OwnedDescriptor file_;
};

}  // namespace corvane::Platform
