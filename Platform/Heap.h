#pragma once

namespace corvane::Platform {

/// Lets all threads of this process share one heap, where the system would give each its own. The
/// host's threads are few and seldom work at the same time: heaps of their own would cost them
/// memory and a longer start. Before the first thread is started.
void shareOneHeap();

/// Gives memory that is free back to the system, if it is much: what a long message has left. Cheap
/// when it is little. Any thread.
void giveBackFreeMemory();

}  // namespace corvane::Platform
