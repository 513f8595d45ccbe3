#pragma once

namespace corvane::Platform {

/// Lets all threads of this process share one heap, where the system would give each its own. The
/// host's threads are few and seldom work at the same time: heaps of their own would cost them
/// memory and a longer start. Before the first thread is started.
void shareOneHeap();

/// Returns free heap memory to the system; on Linux only if more than 2 MiB is free, so that it
/// costs ordinary messages nothing. Any thread.
void returnFreeMemory();

}  // namespace corvane::Platform
