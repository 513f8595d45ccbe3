#include "VCommons/VCommonsKit/SerialOrder.h"

#include "Platform/HardStop.h"

namespace corvane {

SerialOrder::SerialOrder(Platform::EventLoop& loop, std::string label)
    : loop_(loop), label_(std::move(label)) {}

void SerialOrder::async(Task task) {
  tasks_.push_back(std::move(task));
  postStart();
}

void SerialOrder::postStart() {
  if (!std::exchange(isPosted_, true)) loop_.post([this] { startAll(); });
}

/// Starts what is there now, so that tasks that were added together run together, before what the
/// first of them posts; what they add to the order gets another turn of the loop.
void SerialOrder::startAll() {
  isPosted_ = false;
  for (std::size_t left = tasks_.size(); left > 0 && holds_ == 0; --left) startOne();
  if (holds_ == 0 && !tasks_.empty()) postStart();
}

void SerialOrder::startOne() {
  if (tasks_.empty()) return;
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  const Running running(*this);
  task();
}

void SerialOrder::runAll() {
  for (;; startOne()) {
    if (isRunning_ || holds_ > 0)
      Platform::hardStop("sync on the serial order \"" + label_ + "\" while it is occupied");
    if (tasks_.empty()) return;
  }
}

SerialOrder::Hold SerialOrder::hold() {
  ++holds_;
  return Hold(*this);
}

void SerialOrder::release() {
  if (--holds_ == 0 && !tasks_.empty()) postStart();
}

}  // namespace corvane
