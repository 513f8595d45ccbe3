#pragma once

#include <cstddef>
#include <span>

#include "Base/Bytes.h"
#include "Base/Result.h"

/// Reading and writing descriptors that somebody else opened: pipes, mostly. Interrupted calls are
/// repeated; a descriptor that was set not to wait is waited for all the same.
namespace corvane::Platform::Descriptor {

/// Waits until something can be read from `descriptor` and puts it into `bytes`; 0 at the end of
/// input.
Result<std::size_t> readSome(int descriptor, std::span<std::byte> bytes);

/// Writes all of `bytes` with one call, or with more where the system takes less at a time.
Result<Done> writeAll(int descriptor, ByteView bytes);

/// Whether `readSome` would not wait: there are bytes, or the end.
bool hasInput(int descriptor);

bool isPipe(int descriptor);

/// Whether a pipe takes `size` more bytes at once, written by one thread with whatever number of
/// calls. False also when that can't be told.
bool takesAtOnce(int pipe, std::size_t size);

}  // namespace corvane::Platform::Descriptor
