#include "Platform/macOS/EventQueue.h"

#include <dispatch/dispatch.h>

#include <atomic>
#include <utility>

namespace corvane::Platform {

struct EventQueue::Life {
  std::atomic<bool> isOver = false;
};

struct EventQueue::Call {
  static void run(void* context) {
    const std::unique_ptr<Call> call(static_cast<Call*>(context));
    if (!call->life->isOver) call->task();
  }

  std::shared_ptr<Life> life;
  UniqueFunction<void()> task;
};

EventQueue::EventQueue(const char* label)
    : queue_(dispatch_queue_create(label, nullptr)), life_(std::make_shared<Life>()) {}

EventQueue::~EventQueue() {
  end();
  dispatch_release(queue_);
}

void EventQueue::async(UniqueFunction<void()> task) {
  if (isOver()) return;
  auto call = std::make_unique<Call>(Call{life_, std::move(task)});
  dispatch_async_f(queue_, call.release(), &Call::run);
}

void EventQueue::await() {
  dispatch_sync_f(queue_, nullptr, [](void*) {});
}

void EventQueue::end() {
  life_->isOver = true;
  await();
}

bool EventQueue::isOver() const {
  return life_->isOver;
}

}  // namespace corvane::Platform
