#include "VCommons/VCommonsKit/DispatchQueue.h"

#include <system_error>
#include <utility>

#include "Platform/HardStop.h"
#include "Platform/Threads.h"

namespace corvane {

DispatchQueue::DispatchQueue(std::string label) : label_(std::move(label)) {}

DispatchQueue::~DispatchQueue() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  if (worker_.joinable()) worker_.join();
}

void DispatchQueue::async(Task task) {
  if (!hasWorker()) return sync([&] { task(); });
  {
    const std::lock_guard lock(mutex_);
    items_.push_back({added_++, std::move(task)});
  }
  changed_.notify_all();
}

/// Starts the queue's thread unless it runs. False when the system starts no more threads.
bool DispatchQueue::hasWorker() {
  const std::lock_guard lock(mutex_);
  if (worker_.joinable()) return true;
  try {
    worker_ = std::thread([this] { work(); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
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

/// What the queue's thread does.
void DispatchQueue::work() {
  Platform::nameThisThread(label_);
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(
        lock, [this] { return items_.empty() ? isEnding_ : items_.front().number == completed_; });
    if (items_.empty()) return;
    Task task = std::move(items_.front().task);
    items_.pop_front();
    runs_ = std::this_thread::get_id();
    lock.unlock();
    task();
    task = {};  // what it owns goes while it is still the queue's turn
    lock.lock();
    finishTurn();
  }
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
  const std::lock_guard lock(queue_.mutex_);
  queue_.finishTurn();
}

}  // namespace corvane
