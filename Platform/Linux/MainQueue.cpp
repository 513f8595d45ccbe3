#include "Platform/MainQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace corvane::Platform::MainQueue {
namespace {

struct Queue {
  std::mutex mutex;  // guards the tasks
  std::condition_variable came;
  std::deque<UniqueFunction<void()>> tasks;
  bool turnEnds = false;  // main thread only
};

Queue& theQueue() {
  static auto& queue = *new Queue;
  return queue;
}

}  // namespace

void async(UniqueFunction<void()> task) {
  Queue& queue = theQueue();
  bool wasEmpty = false;
  {
    const std::lock_guard lock(queue.mutex);
    wasEmpty = queue.tasks.empty();
    queue.tasks.push_back(std::move(task));
  }
  if (wasEmpty) queue.came.notify_one();
}

void turnUntil(std::chrono::steady_clock::time_point end) {
  Queue& queue = theQueue();
  queue.turnEnds = false;
  while (!queue.turnEnds) {
    UniqueFunction<void()> task;
    {
      std::unique_lock lock(queue.mutex);
      if (!queue.came.wait_until(lock, end, [&] { return !queue.tasks.empty(); })) return;
      task = std::move(queue.tasks.front());
      queue.tasks.pop_front();
    }
    task();
    if (std::chrono::steady_clock::now() >= end) return;
  }
}

void endTurn() {
  async([] { theQueue().turnEnds = true; });
}

}  // namespace corvane::Platform::MainQueue
