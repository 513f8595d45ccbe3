#pragma once

#include <cstddef>
#include <span>

#include "Base/Bytes.h"
#include "Base/Result.h"

/// Reads and writes descriptors that another program opened, mostly pipes. The descriptors stay the
/// caller's. Calls that a signal interrupts are repeated. Thread-safe, but concurrent calls on one
/// descriptor may divide or mix the bytes.
namespace corvane::Platform::Descriptor {

/// Reads what is available, at most as much as `bytes` holds, with one call. Returns the number of
/// bytes; 0 at the end of input. If nothing is available, blocks, or fails with `wouldBlock` if
/// `descriptor` has O_NONBLOCK set.
Result<std::size_t> read(int descriptor, std::span<std::byte> bytes);

/// As `read`, but always blocks until something is available, whether or not `descriptor` has
/// O_NONBLOCK set.
Result<std::size_t> readSome(int descriptor, std::span<std::byte> bytes);

/// Returns true if the other end of the pipe `descriptor` is known to be closed. Bytes written
/// before that can still be read. False if the system cannot tell. Never blocks.
bool isHungUp(int descriptor);

/// Writes all of `bytes`, with one call if the system accepts them at once. Blocks until they are
/// written, even if `descriptor` has O_NONBLOCK set. After a failure some of them may have been
/// written; how many is not known.
Result<Done> writeAll(int descriptor, ByteView bytes);

}  // namespace corvane::Platform::Descriptor
