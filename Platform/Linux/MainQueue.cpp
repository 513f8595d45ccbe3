#include "Platform/MainQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "Platform/Semaphore.h"

namespace corvane::Platform::MainQueue {
namespace {

using Task = UniqueFunction<void()>;

/// So many tasks that nobody was woken for wake the main thread.
constexpr std::size_t batch = 8;

/// So often the main thread lets others go first before it sleeps, when tasks come in rows: the
/// next is a moment away then, and to be woken costs more than that.
constexpr int yields = 3;

struct Queue {
  Semaphore woken;   // posted by who ends `mainSleeps`
  std::mutex mutex;  // guards all below
  std::deque<Task> tasks;
  bool mainSleeps = false;  // it has the turn, and nobody has woken it
  bool isLent = false;      // another thread has the turn meanwhile
  bool comeInRows = false;  // since it slept, a task was queued without waking it
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

/// True when the main thread sleeps and `tasks` or more wait: the caller, who has the lock, must
/// give it back and wake that thread.
bool mustWake(Queue& queue, std::size_t tasks) {
  return queue.tasks.size() >= tasks && std::exchange(queue.mainSleeps, false);
}

void add(Task task, std::size_t tasksToWakeFor) {
  Queue& queue = theQueue();
  {
    const std::lock_guard lock(queue.mutex);
    queue.tasks.push_back(std::move(task));
    queue.comeInRows |= tasksToWakeFor > 1;
    if (!mustWake(queue, tasksToWakeFor)) return;
  }
  queue.woken.post();
}

/// Gives the turn back; `next` is what is to run first then.
void returnTurn(Queue& queue, std::optional<Task> next) {
  bool wakes = false;
  {
    const std::lock_guard lock(queue.mutex);
    if (next) queue.tasks.push_front(std::move(*next));
    queue.isLent = false;
    wakes = mustWake(queue, 1);
  }
  queue.returned.notify_one();
  if (wakes) queue.woken.post();
}

/// Sleeps until it is woken and has the turn back, if it was lent. False at `end`. The lock is
/// held, but not meanwhile.
bool sleep(Queue& queue, std::unique_lock<std::mutex>& lock,
           std::chrono::steady_clock::time_point end) {
  queue.mainSleeps = true;
  queue.comeInRows = false;
  lock.unlock();
  const bool isWoken = queue.woken.waitUntil(end);
  lock.lock();
  queue.mainSleeps = false;
  queue.returned.wait(lock, [&] { return !queue.isLent; });
  return isWoken;
}

/// The first task, if one comes before `end`.
std::optional<Task> takeFirst(Queue& queue, std::chrono::steady_clock::time_point end) {
  std::unique_lock lock(queue.mutex);
  for (int i = 0; queue.comeInRows && i < yields && queue.tasks.empty(); ++i) {
    lock.unlock();
    std::this_thread::yield();
    lock.lock();
  }
  while (queue.tasks.empty()) {
    if (!sleep(queue, lock, end) && queue.tasks.empty()) return std::nullopt;
  }
  std::optional<Task> task = std::move(queue.tasks.front());
  queue.tasks.pop_front();
  return task;
}

}  // namespace

void async(Task task) {
  add(std::move(task), 1);
}

void asyncWithoutWaking(Task task) {
  add(std::move(task), batch);
}

void wake() {
  Queue& queue = theQueue();
  {
    const std::lock_guard lock(queue.mutex);
    if (!mustWake(queue, 1)) return;
  }
  queue.woken.post();
}

void async(Task task, const std::function<bool()>& mayRunHere) {
  Queue& queue = theQueue();
  if (!borrowTurn(queue)) return async(std::move(task));
  if (mayRunHere()) {
    task();
    returnTurn(queue, std::nullopt);
  } else {
    returnTurn(queue, std::move(task));
  }
}

void turnUntil(std::chrono::steady_clock::time_point end) {
  Queue& queue = theQueue();
  queue.turnEnds = false;
  while (!queue.turnEnds) {
    std::optional<Task> task = takeFirst(queue, end);
    if (!task) return;
    (*task)();
    if (std::chrono::steady_clock::now() >= end) return;
  }
}

void endTurn() {
  async([] { theQueue().turnEnds = true; });
}

}  // namespace corvane::Platform::MainQueue
