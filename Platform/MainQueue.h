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
/// waits, `mayRunHere` is asked at once on this thread, in the queue's turn, so that nothing of the
/// queue runs beside it. If it says so `task` runs here as well; otherwise it is the next to run on
/// the main thread. Neither may wait for anything here. A system that binds the queue to its thread
/// always queues.
void async(UniqueFunction<void()> task, const std::function<bool()>& mayRunHere);

/// The same for a thread that has more to queue at once: a main thread that sleeps is woken only
/// when several tasks wait, by `wake`, or by a task that is queued otherwise. The caller must call
/// `wake` before it waits for anything but the log.
void asyncWithoutWaking(UniqueFunction<void()> task);

/// Wakes the main thread if it sleeps while tasks wait. Safe from any thread.
void wake();

/// Turns the main loop until `end`: runs tasks as they come, sleeps while there are none. Returns
/// at `end`, even while tasks are waiting (the next turn takes them), or when `endTurn` says so.
/// Main thread only.
void turnUntil(std::chrono::steady_clock::time_point end);

/// Ends the running turn, or the next one when none is running, as soon as the tasks queued before
/// this call have run. Safe from any thread.
void endTurn();

}  // namespace corvane::Platform::MainQueue
