#pragma once

#include <chrono>
#include <functional>

#include "Base/UniqueFunction.h"

/// The main queue: tasks that run on the main thread, one at a time, in the order in which they
/// came, while the main loop turns. There is one per process.
namespace corvane::Platform::MainQueue {

/// Queues `task` for the main thread and returns at once; a main loop that waits wakes for it at
/// once. Safe from any thread. Tasks that are queued when the loop has turned for the last time
/// never run.
void async(UniqueFunction<void()> task);

/// The same, where waking the main thread may be spared: when that sleeps in its loop and no task
/// waits, `here` is called at once on this thread, in the queue's turn, so that nothing of the
/// queue runs beside it. If it is true it has done what `task` would do; otherwise `task` is the
/// next to run on the main thread. `here` must not wait for anything. A system that binds the queue
/// to its thread always queues.
void async(UniqueFunction<void()> task, const std::function<bool()>& here);

/// Turns the main loop until `end`: runs tasks as they come, sleeps while there are none. Returns
/// at `end`, even while tasks are waiting (the next turn takes them), or when `endTurn` says so.
/// Main thread only.
void turnUntil(std::chrono::steady_clock::time_point end);

/// Ends the running turn, or the next one when none is running, as soon as the tasks queued before
/// this call have run. Safe from any thread.
void endTurn();

}  // namespace corvane::Platform::MainQueue
