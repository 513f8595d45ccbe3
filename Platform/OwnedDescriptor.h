#pragma once

#include <sys/types.h>

#include <string>
#include <utility>

#include "Base/Result.h"

namespace corvane::Platform {

/// Owns a file descriptor and closes it; may own none. One thread at a time.
class OwnedDescriptor {
 public:
  OwnedDescriptor() = default;
  /// Takes over `number`; a negative one, the result of a call that failed, stands for none.
  explicit OwnedDescriptor(int number) : number_(number) {}
  OwnedDescriptor(OwnedDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  OwnedDescriptor(const OwnedDescriptor&) = delete;
  OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
  ~OwnedDescriptor();

  explicit operator bool() const { return number_ >= 0; }
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_ = -1;
};

/// Opens `path`, relative to the directory descriptor `directory` unless it is a full path, with
/// the flags of open(2) and close-on-exec. Calls that a signal interrupts are repeated.
Result<OwnedDescriptor> openAt(int directory, const std::string& path, int flags, mode_t mode = 0);

}  // namespace corvane::Platform
