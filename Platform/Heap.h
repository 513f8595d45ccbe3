#pragma once

namespace corvane::Platform {

/// Makes all threads of this process share one heap, where the system would give each one its own.
/// The host has few threads that seldom run at the same time; separate heaps would cost them memory
/// and start-up time. Must be called before the first thread is started. A no-op on macOS.
void shareOneHeap();

/// Returns free heap memory to the system, to keep an idle process small. On Linux only if more
/// than 2 MiB is free, so that ordinary messages cause no such work. Thread-safe.
void returnFreeMemory();

}  // namespace corvane::Platform
