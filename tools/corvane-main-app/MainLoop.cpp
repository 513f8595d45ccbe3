#include "tools/corvane-main-app/MainLoop.h"

#include <utility>

#include "Platform/MainQueue.h"

namespace corvane::MainApp {
namespace {

/// How long a turn takes at most; nothing depends on it.
constexpr std::chrono::hours longestTurn{1};

}  // namespace

void MainLoop::at(Clock::time_point due, Task task) {
  const auto added = tasks_.emplace(due, std::move(task));
  if (added == tasks_.begin()) Platform::MainQueue::endTurn();  // it would end too late
}

void MainLoop::run() {
  while (!isEnding_) {
    runDue();
    Platform::MainQueue::turnUntil(tasks_.empty() ? Clock::now() + longestTurn
                                                  : tasks_.begin()->first);
  }
}

void MainLoop::end() {
  isEnding_ = true;
  Platform::MainQueue::endTurn();
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
