#include "Platform/MainQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "Platform/Semaphore.h"

namespace corvane::Platform::MainQueue {
namespace {

using Task = UniqueFunction<void()>;

struct Queue {
  Semaphore came;    // as many as there are tasks
  std::mutex mutex;  // guards all below
  std::deque<Task> tasks;
  bool mainSleeps = false;  // it has the turn, and nothing to do
  bool isLent = false;      // another thread has the turn meanwhile
  std::condition_variable returned;

  bool turnEnds = false;  // main thread only
};

Queue& theQueue() {
  static auto& queue = *new Queue;
  return queue;
}

/// Lends the main thread's turn to this thread, if it can spare it.
bool borrowTurn(Queue& queue) {
  const std::lock_guard lock(queue.mutex);
  if (!queue.mainSleeps || queue.isLent || !queue.tasks.empty()) return false;
  queue.isLent = true;
  return true;
}

void returnTurn(Queue& queue) {
  {
    const std::lock_guard lock(queue.mutex);
    queue.isLent = false;
  }
  queue.returned.notify_one();
}

void fallAsleep(Queue& queue) {
  const std::lock_guard lock(queue.mutex);
  queue.mainSleeps = queue.tasks.empty();
}

/// Takes the turn back from whoever has borrowed it.
void wakeUp(Queue& queue) {
  std::unique_lock lock(queue.mutex);
  queue.mainSleeps = false;
  queue.returned.wait(lock, [&] { return !queue.isLent; });
}

Task takeFirst(Queue& queue) {
  const std::lock_guard lock(queue.mutex);
  Task task = std::move(queue.tasks.front());
  queue.tasks.pop_front();
  return task;
}

}  // namespace

void async(Task task) {
  Queue& queue = theQueue();
  {
    const std::lock_guard lock(queue.mutex);
    queue.tasks.push_back(std::move(task));
  }
  queue.came.post();
}

void async(Task task, const std::function<bool()>& here) {
  Queue& queue = theQueue();
  if (!borrowTurn(queue)) return async(std::move(task));
  const bool isDone = here();
  if (!isDone) {
    const std::lock_guard lock(queue.mutex);
    queue.tasks.push_front(std::move(task));
  }
  returnTurn(queue);
  if (!isDone) queue.came.post();
}

void turnUntil(std::chrono::steady_clock::time_point end) {
  Queue& queue = theQueue();
  queue.turnEnds = false;
  while (!queue.turnEnds) {
    fallAsleep(queue);
    const bool came = queue.came.waitUntil(end);
    wakeUp(queue);
    if (!came) return;
    takeFirst(queue)();
    if (std::chrono::steady_clock::now() >= end) return;
  }
}

void endTurn() {
  async([] { theQueue().turnEnds = true; });
}

}  // namespace corvane::Platform::MainQueue
