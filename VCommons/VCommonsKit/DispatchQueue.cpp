#include "VCommons/VCommonsKit/DispatchQueue.h"

#include <utility>

#include "Platform/HardStop.h"
#include "Platform/Threads.h"

namespace corvane {
namespace {
thread_local detail::RunningOnQueue* innermost = nullptr;
}  // namespace

detail::RunningOnQueue::RunningOnQueue(const DispatchQueue& queue)
    : queue(queue), outer(innermost) {
  innermost = this;
}

detail::RunningOnQueue::~RunningOnQueue() {
  innermost = outer;
}

DispatchQueue::DispatchQueue(std::string label) : label_(std::move(label)) {}

DispatchQueue::~DispatchQueue() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  workerHasWork_.notify_one();
  if (worker_.joinable()) worker_.join();
}

void DispatchQueue::async(Task task) {
  std::unique_lock lock(mutex_);
  items_.push_back({std::move(task), nullptr});
  ++submitted_;
  if (!worker_.joinable()) {
    worker_ = std::thread([this] { work(); });
  } else if (!busy_ && items_.size() == 1) {  // otherwise whoever runs now wakes the next
    lock.unlock();
    workerHasWork_.notify_one();
  }
}

bool DispatchQueue::drain(std::chrono::milliseconds limit) {
  if (isCurrent()) return false;
  std::unique_lock lock(mutex_);
  const std::uint64_t target = submitted_;
  ++drainers_;
  const bool drained = progress_.wait_for(lock, limit, [&] { return completed_ >= target; });
  --drainers_;
  return drained;
}

bool DispatchQueue::isCurrent() const {
  for (const auto* running = innermost; running != nullptr; running = running->outer) {
    if (&running->queue == this) return true;
  }
  return false;
}

void DispatchQueue::work() {
  Platform::nameThisThread(label_);
  const detail::RunningOnQueue running(*this);
  std::unique_lock lock(mutex_);
  for (;;) {
    workerHasWork_.wait(lock, [this] {
      if (busy_) return false;
      return items_.empty() ? ending_ : static_cast<bool>(items_.front().task);
    });
    if (items_.empty()) return;
    Task task = std::move(items_.front().task);
    items_.pop_front();
    busy_ = true;
    lock.unlock();
    task();
    task = {};  // what the task owns goes while the queue is still its own
    lock.lock();
    finishOne();
  }
}

/// Ends the turn of whoever ran and wakes the next one. The lock is held.
void DispatchQueue::finishOne() {
  busy_ = false;
  ++completed_;
  if (drainers_ > 0) progress_.notify_all();
  if (items_.empty()) {
    if (ending_) workerHasWork_.notify_one();
  } else if (items_.front().callersTurn != nullptr) {
    items_.front().callersTurn->notify_one();
  } else if (!(worker_.joinable() && worker_.get_id() == std::this_thread::get_id())) {
    workerHasWork_.notify_one();
  }
}

DispatchQueue::Turn::Turn(DispatchQueue& queue) : queue_(queue) {
  if (queue.isCurrent())
    Platform::hardStop("sync on the serial queue \"" + queue.label_ + "\" from itself");
  std::unique_lock lock(queue.mutex_);
  ++queue.submitted_;
  if (queue.busy_ || !queue.items_.empty()) {
    std::condition_variable myTurn;
    queue.items_.push_back({{}, &myTurn});
    myTurn.wait(lock, [&] { return !queue.busy_ && queue.items_.front().callersTurn == &myTurn; });
    queue.items_.pop_front();
  }
  queue.busy_ = true;
}

DispatchQueue::Turn::~Turn() {
  const std::lock_guard lock(queue_.mutex_);
  queue_.finishOne();
}

}  // namespace corvane
