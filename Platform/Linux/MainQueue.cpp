#include "Platform/MainQueue.h"

#include <deque>
#include <mutex>
#include <utility>

#include "Platform/Semaphore.h"

namespace corvane::Platform::MainQueue {
namespace {

struct Queue {
  Semaphore came;    // as many as there are tasks
  std::mutex mutex;  // guards the tasks
  std::deque<UniqueFunction<void()>> tasks;
  bool turnEnds = false;  // main thread only
};

Queue& theQueue() {
  static auto& queue = *new Queue;
  return queue;
}

UniqueFunction<void()> takeFirst(Queue& queue) {
  const std::lock_guard lock(queue.mutex);
  UniqueFunction<void()> task = std::move(queue.tasks.front());
  queue.tasks.pop_front();
  return task;
}

}  // namespace

void async(UniqueFunction<void()> task) {
  Queue& queue = theQueue();
  {
    const std::lock_guard lock(queue.mutex);
    queue.tasks.push_back(std::move(task));
  }
  queue.came.post();
}

void turnUntil(std::chrono::steady_clock::time_point end) {
  Queue& queue = theQueue();
  queue.turnEnds = false;
  while (!queue.turnEnds) {
    if (!queue.came.waitUntil(end)) return;
    takeFirst(queue)();
    if (std::chrono::steady_clock::now() >= end) return;
  }
}

void endTurn() {
  async([] { theQueue().turnEnds = true; });
}

}  // namespace corvane::Platform::MainQueue
