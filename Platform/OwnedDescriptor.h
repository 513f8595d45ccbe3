#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

#include "Base/Result.h"

namespace corvane::Platform {

/// Owns a file descriptor and closes it on destruction; empty if it owns none. How every descriptor
/// that this process opens is held. Movable, not copyable. One thread at a time.
class OwnedDescriptor {
 public:
  /// Empty.
  OwnedDescriptor() = default;
  /// Takes over `number`, which nothing else may close from now on. A negative one, the result of a
  /// system call that failed, makes it empty; errno stays as it is.
  explicit OwnedDescriptor(int number) : number_(number) {}
  /// Leaves `other` empty.
  OwnedDescriptor(OwnedDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  /// Swaps the descriptors: that of this object is closed when `other` is destroyed.
  OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  OwnedDescriptor(const OwnedDescriptor&) = delete;
  OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
  /// Closes the descriptor. A failure is ignored, as the number is free in any case.
  ~OwnedDescriptor();

  /// False if empty.
  explicit operator bool() const { return number_ >= 0; }

  /// The descriptor, for a system call; negative if empty. Stays owned by this object.
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_ = -1;
};

/// Opens `path` with openat(2): relative to the directory descriptor `directory` unless it is an
/// absolute path. `flags` and `mode` are those of open(2); close-on-exec is added. Calls that a
/// signal interrupts are repeated. Thread-safe.
Result<OwnedDescriptor> openAt(int directory, const std::string& path, int flags, mode_t mode = 0);

}  // namespace corvane::Platform
