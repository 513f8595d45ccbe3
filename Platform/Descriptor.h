#pragma once

#include <cstddef>
#include <span>

#include "Base/Bytes.h"
#include "Base/Result.h"

/// Reading and writing descriptors that another program opened: pipes, mostly. Interrupted calls
/// are repeated.
namespace corvane::Platform::Descriptor {

/// Reads with one call and returns how many bytes came; 0 at the end of input. Fails with
/// `wouldBlock` when `descriptor` is set not to block and there is nothing to read; blocks when it
/// is not set so.
Result<std::size_t> read(int descriptor, std::span<std::byte> bytes);

/// Blocks until something can be read from `descriptor`, even if it is set not to block, and reads
/// it; 0 at the end of input.
Result<std::size_t> readSome(int descriptor, std::span<std::byte> bytes);

/// Whether it is certain that the other end of a pipe was closed. What was written before can still
/// be read.
bool isHungUp(int descriptor);

/// Writes all of `bytes` with one call, or with more where the system takes less at a time. Blocks
/// until they are written, even if `descriptor` is set not to block.
Result<Done> writeAll(int descriptor, ByteView bytes);

}  // namespace corvane::Platform::Descriptor
