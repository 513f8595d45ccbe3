#pragma once

#include <cstddef>

#include "Base/Bytes.h"
#include "Base/Result.h"

namespace corvane::Platform {

/// Writes without ever blocking to a descriptor that other processes may share. Does not set
/// O_NONBLOCK on it, because that flag would apply to all who have it open. Pipes are opened a
/// second time where the system allows it, so that only the copy has the flag. Not thread-safe.
class NonBlockingOutput {
 public:
  /// `descriptor` stays the caller's and must stay open as long as this object. Never fails: at
  /// worst each write is preceded by a poll.
  explicit NonBlockingOutput(int descriptor);
  ~NonBlockingOutput();
  NonBlockingOutput(const NonBlockingOutput&) = delete;
  NonBlockingOutput& operator=(const NonBlockingOutput&) = delete;

  /// Writes as much of `bytes` as the system accepts now and returns the number of bytes, often
  /// fewer than all. Returns 0 if nothing can be written now: either the descriptor is not
  /// writable, or the system lacks memory, and then the descriptor may poll as writable all the
  /// same. Fails if nothing can ever be written again, for example because a pipe has no reader.
  Result<std::size_t> write(ByteView bytes);

  /// The descriptor to watch for writability; belongs to this object or to the caller.
  [[nodiscard]] int descriptor() const { return own_ >= 0 ? own_ : given_; }

 private:
  enum class Kind { regularFile, socket, other };

  const int given_;
  int own_ = -1;  // the same pipe, opened again with O_NONBLOCK; -1 if that was not possible
  Kind kind_ = Kind::other;
};

}  // namespace corvane::Platform
