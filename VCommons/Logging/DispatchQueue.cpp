#include "VCommons/Logging/DispatchQueue.h"

#include <utility>

#include "Platform/HardStop.h"
#include "Platform/SystemLog.h"
#include "Platform/Threads.h"

namespace corvane {

DispatchQueue::DispatchQueue(std::string label) : label_(std::move(label)) {}

DispatchQueue::~DispatchQueue() {
  std::unique_lock lock(mutex_);
  isEnding_ = true;
  changed_.notify_all();
  changed_.wait(lock, [this] { return !hasWorker_; });
}

void DispatchQueue::async(Task task) {
  if (enqueue(task)) {
    changed_.notify_all();
  } else {
    sync([&] { task(); });
  }
}

/// Adds `task` for the queue's thread or, inside a task of this queue, for the end of that task.
/// Otherwise returns false and leaves `task` to the caller, which must run it.
bool DispatchQueue::enqueue(Task& task) {
  const std::lock_guard lock(mutex_);
  if (!startWorker() && runs_ != std::this_thread::get_id()) return false;
  items_.push_back({added_, std::move(task)});
  ++added_;  // last, because push_back may throw
  return true;
}

/// Starts the queue's thread unless it runs. Returns false if the system starts no more threads; a
/// record in the system log says so once. The mutex is held.
bool DispatchQueue::startWorker() {
  if (hasWorker_) return true;
  const auto started = Platform::startThread(label_, [this] { work(); });
  hasWorker_ = static_cast<bool>(started);
  if (!started && !isFailureLogged_) {
    Platform::SystemLog::write(
        Platform::SystemLog::Severity::error,
        "the queue \"" + label_ +
            "\" has no thread and blocks its callers: " + started.failure().text);
  }
  isFailureLogged_ = !started;
  return hasWorker_;
}

bool DispatchQueue::drain(std::chrono::milliseconds limit) {
  if (isCurrent()) return false;
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, limit, [this, target = added_] { return completed_ >= target; });
}

bool DispatchQueue::isCurrent() const {
  const std::lock_guard lock(mutex_);
  return runs_ == std::this_thread::get_id();
}

/// The body of the queue's thread.
void DispatchQueue::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return items_.empty() ? isEnding_ : isItemNext(); });
    if (items_.empty()) break;
    runItem(lock);
  }
  hasWorker_ = false;
  changed_.notify_all();  // before unlocking: the queue may be destroyed after that
}

/// The mutex is held.
bool DispatchQueue::isItemNext() const {
  return !items_.empty() && items_.front().number == completed_;
}

/// Runs the first item without the mutex, which is held before and after.
void DispatchQueue::runItem(std::unique_lock<std::mutex>& lock) {
  Task task = std::move(items_.front().task);
  items_.pop_front();
  runs_ = std::this_thread::get_id();
  lock.unlock();
  task();
  task = {};  // what it owns is destroyed before the next task starts
  lock.lock();
  finishTurn();
}

/// The mutex is held.
void DispatchQueue::finishTurn() {
  runs_ = {};
  ++completed_;
  changed_.notify_all();
}

DispatchQueue::Turn::Turn(DispatchQueue& queue) : queue_(queue) {
  if (queue.isCurrent())
    Platform::hardStop("sync on the serial queue \"" + queue.label_ + "\" from itself");
  std::unique_lock lock(queue.mutex_);
  const std::uint64_t number = queue.added_++;
  queue.changed_.wait(lock, [&] { return queue.completed_ == number; });
  queue.runs_ = std::this_thread::get_id();
}

DispatchQueue::Turn::~Turn() {
  std::unique_lock lock(queue_.mutex_);
  queue_.finishTurn();
  while (!queue_.hasWorker_ && queue_.isItemNext()) queue_.runItem(lock);
}

}  // namespace corvane
