#pragma once

#include <cstddef>

#include "Base/Bytes.h"
#include "Base/Result.h"

namespace corvane::Platform {

/// Writes to a descriptor that other processes may share. Never blocks and does not change its
/// flags, because O_NONBLOCK would apply to every holder. Not thread-safe.
class NonBlockingOutput {
 public:
  /// `descriptor` stays the caller's and must stay open.
  explicit NonBlockingOutput(int descriptor);
  ~NonBlockingOutput();
  NonBlockingOutput(const NonBlockingOutput&) = delete;
  NonBlockingOutput& operator=(const NonBlockingOutput&) = delete;

  /// Writes as much of `bytes` as the system takes now, with one call where that is possible, and
  /// returns how much that was. Returns 0 if nothing can be written now: either the descriptor is
  /// not writable, or the system lacks memory, in which case it may poll as writable. Fails if
  /// nothing can ever be written again, for example to a pipe without a reader.
  Result<std::size_t> write(ByteView bytes);

  /// The descriptor to watch for writability.
  [[nodiscard]] int descriptor() const { return own_ >= 0 ? own_ : given_; }

 private:
  enum class Kind { regularFile, socket, other };

  const int given_;
  int own_ = -1;  // another opening of the same pipe, with flags of its own, where there is one
  Kind kind_ = Kind::other;
};

}  // namespace corvane::Platform
