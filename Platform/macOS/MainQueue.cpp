#include "Platform/MainQueue.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <deque>
#include <mutex>
#include <utility>

#include "Platform/macOS/AutoreleasePool.h"

namespace corvane::Platform::MainQueue {
namespace {

using Task = UniqueFunction<void()>;
using Clock = std::chrono::steady_clock;

void runNext(void* unused);

/// A source of the main run loop that is signalled as long as there are tasks, and runs one at a
/// time: so the loop can return between any two. (The system's own main queue runs all it has.)
CFRunLoopSourceRef makeSource() {
  CFRunLoopSourceContext context = {};
  context.perform = runNext;
  CFRunLoopSourceRef source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
  CFRunLoopAddSource(CFRunLoopGetMain(), source, kCFRunLoopCommonModes);
  return source;
}

struct Queue {
  std::mutex mutex;  // guards the tasks
  std::deque<Task> tasks;
  bool turnEnds = false;  // main thread only
  const CFRunLoopSourceRef source = makeSource();
};

Queue& theQueue() {
  static auto& queue = *new Queue;
  return queue;
}

void runNext(void* /*unused*/) {
  Queue& queue = theQueue();
  Task task;
  {
    const std::lock_guard lock(queue.mutex);
    if (queue.tasks.empty()) return;
    task = std::move(queue.tasks.front());
    queue.tasks.pop_front();
    if (!queue.tasks.empty()) CFRunLoopSourceSignal(queue.source);
  }
  task();
}

}  // namespace

void async(UniqueFunction<void()> task) {
  Queue& queue = theQueue();
  {
    const std::lock_guard lock(queue.mutex);
    queue.tasks.push_back(std::move(task));
    if (queue.tasks.size() > 1) return;  // it has been signalled, and will be again
  }
  CFRunLoopSourceSignal(queue.source);
  CFRunLoopWakeUp(CFRunLoopGetMain());
}

/// The queue is bound to the main thread, and its run loop.
void async(UniqueFunction<void()> task, const std::function<bool()>& /*mayRunHere*/) {
  async(std::move(task));
}

/// To signal the source again costs next to nothing while the loop has not woken yet.
void asyncWithoutWaking(UniqueFunction<void()> task) {
  async(std::move(task));
}

void wake() {}

void turnUntil(std::chrono::steady_clock::time_point end) {
  Queue& queue = theQueue();
  queue.turnEnds = false;
  do {
    const std::chrono::duration<double> left = std::max(end - Clock::now(), Clock::duration{});
    const AutoreleasePool pool;
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, left.count(), true);
  } while (!queue.turnEnds && Clock::now() < end);
}

void endTurn() {
  async([] { theQueue().turnEnds = true; });
}

}  // namespace corvane::Platform::MainQueue
