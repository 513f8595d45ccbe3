#include "VCommons/VCommonsKit/SerialQueue.h"

#include "Platform/HardStop.h"

namespace corvane {

SerialQueue::SerialQueue(Platform::EventLoop& loop, std::string label)
    : loop_(loop), label_(std::move(label)) {}

void SerialQueue::async(Task task) {
  tasks_.push_back(std::move(task));
  postStart();
}

void SerialQueue::postStart() {
  if (!std::exchange(isPosted_, true)) loop_.post([this] { startAll(); });
}

/// Starts the tasks that are queued now, so that tasks added together run together, before any task
/// that the first of them posts to the loop. Tasks that they add run in another turn of the loop.
void SerialQueue::startAll() {
  isPosted_ = false;
  for (std::size_t left = tasks_.size(); left > 0 && holds_ == 0; --left) startOne();
  if (holds_ == 0 && !tasks_.empty()) postStart();
}

void SerialQueue::startOne() {
  if (tasks_.empty()) return;
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  const Running running(*this);
  task();
}

void SerialQueue::runAll() {
  for (;; startOne()) {
    if (isRunning_ || holds_ > 0)
      Platform::hardStop("sync on the serial queue \"" + label_ + "\" while it is occupied");
    if (tasks_.empty()) return;
  }
}

SerialQueue::Hold SerialQueue::hold() {
  ++holds_;
  return Hold(*this);
}

void SerialQueue::release() {
  if (--holds_ == 0 && !tasks_.empty()) postStart();
}

}  // namespace corvane
