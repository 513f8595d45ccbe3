#include "VCommons/VCommonsKit/DispatchQueue.h"

#include <utility>

#include "Platform/HardStop.h"
#include "Platform/Threads.h"
#include "VCommons/VCommonsKit/LentThread.h"

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
  resume();
  {
    std::unique_lock lock(mutex_);
    ++drainers_;
    progress_.wait(lock, [this] { return completed_ == submitted_; });
    isEnding_ = true;
  }
  if (!worker_.joinable()) return;
  workersTurn_.post();
  worker_.join();
}

void DispatchQueue::suspend() {
  const std::lock_guard lock(mutex_);
  isSuspended_ = true;
}

void DispatchQueue::resume() {
  {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(isSuspended_, false) || items_.empty() || hasTurn_) return;
    hasTurn_ = true;
  }
  giveTurnToWorker();
}

void DispatchQueue::async(Task task) {
  if (queueAndTakeFreeTurn(std::move(task))) giveTurnToWorker();
}

void DispatchQueue::asyncLent(Task task) {
  if (!queueAndTakeFreeTurn(std::move(task))) return;
  if (LentThread* const here = LentThread::current(); here != nullptr) {
    here->turns_.push_back(this);
  } else {
    giveTurnToWorker();
  }
}

/// Queues `task`; true when nobody had the turn, which is the caller's now. Otherwise whoever has
/// it comes to the task.
bool DispatchQueue::queueAndTakeFreeTurn(Task task) {
  const std::lock_guard lock(mutex_);
  ++submitted_;
  items_.push_back({std::move(task), nullptr});
  return !isSuspended_ && !std::exchange(hasTurn_, true);
}

/// By who has the turn.
void DispatchQueue::giveTurnToWorker() {
  if (!worker_.joinable()) worker_ = std::thread([this] { work(); });
  workersTurn_.post();
}

bool DispatchQueue::drain(std::chrono::milliseconds limit) {
  if (isCurrent()) return false;
  resume();
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
  for (;;) {
    workersTurn_.wait();
    if (isEnding_) return;
    useTurn();
  }
}

/// Runs tasks on this thread, which has the turn, until none is first in the queue, and passes the
/// turn on.
void DispatchQueue::useTurn() {
  const detail::RunningOnQueue running(*this);
  std::unique_lock lock(mutex_);
  while (!items_.empty() && items_.front().task) {
    Task task = std::move(items_.front().task);
    items_.pop_front();
    lock.unlock();
    task();
    task = {};  // what the task owns goes while the queue is still its own
    lock.lock();
    countRun();
  }
  passTurnOn();
}

/// The lock is held.
void DispatchQueue::countRun() {
  ++completed_;
  if (drainers_ > 0) progress_.notify_all();
}

/// By who has the turn. The lock is held.
void DispatchQueue::passTurnOn() {
  if (items_.empty()) {
    hasTurn_ = false;
  } else if (auto* const callersTurn = items_.front().callersTurn; callersTurn != nullptr) {
    items_.pop_front();
    callersTurn->post();
  } else {
    giveTurnToWorker();
  }
}

DispatchQueue::Turn::Turn(DispatchQueue& queue) : queue_(queue) {
  if (queue.isCurrent())
    Platform::hardStop("sync on the serial queue \"" + queue.label_ + "\" from itself");
  std::unique_lock lock(queue.mutex_);
  if (queue.isSuspended_) {
    lock.unlock();
    queue.resume();
    lock.lock();
  }
  ++queue.submitted_;
  if (!std::exchange(queue.hasTurn_, true)) return;
  Platform::Semaphore myTurn;
  queue.items_.push_back({{}, &myTurn});
  lock.unlock();
  myTurn.wait();
}

DispatchQueue::Turn::~Turn() {
  const std::lock_guard lock(queue_.mutex_);
  queue_.countRun();
  queue_.passTurnOn();
}

}  // namespace corvane
