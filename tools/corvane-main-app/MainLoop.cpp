#include "tools/corvane-main-app/MainLoop.h"

#include <utility>

namespace corvane::MainApp {
namespace {

/// How long a turn takes at most; nothing depends on it.
constexpr std::chrono::hours longestTurn{1};

}  // namespace

void MainLoop::post(Task task) {
  {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
  }
  mailbox_.interrupt();
}

void MainLoop::at(Clock::time_point due, Task task) {
  tasks_.emplace(due, std::move(task));
}

bool MainLoop::hear(const std::string& name, std::function<void()> heard) {
  name_ = name;
  heard_ = std::move(heard);
  return mailbox_.expect(name_);
}

void MainLoop::run() {
  while (!isEnding_) {
    waitForNotification();
    runPosted();
    runDue();
  }
}

void MainLoop::waitForNotification() {
  const auto end = tasks_.empty() ? Clock::now() + longestTurn : tasks_.begin()->first;
  if (!mailbox_.waitUntil(end)) return;
  mailbox_.expect(name_);  // one call is enough for all that have come
  heard_();
}

void MainLoop::runPosted() {
  std::vector<Task> tasks;
  {
    const std::lock_guard lock(mutex_);
    tasks.swap(posted_);
  }
  for (Task& task : tasks) task();
}

void MainLoop::runDue() {
  const auto now = Clock::now();
  while (!tasks_.empty() && tasks_.begin()->first <= now) {
    Task task = std::move(tasks_.begin()->second);
    tasks_.erase(tasks_.begin());
    task();
  }
}

}  // namespace corvane::MainApp
