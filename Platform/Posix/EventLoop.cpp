#include "Platform/EventLoop.h"

#include <algorithm>

#include "Platform/SystemCalls.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

/// How many tasks run in a row before descriptors and timers are checked again, so that tasks that
/// keep posting tasks cannot starve them. Large enough that the replies to a burst of requests are
/// written together.
constexpr int mostTasksInARow = 1024;

}  // namespace

EventLoop::EventLoop() : thread_(systemCalls().thisThread()) {}

EventLoop::~EventLoop() {
  // Tasks may own registrations, whose destructors call `cancel`. So each container is emptied
  // before its elements are destroyed, and again if they have added to another one.
  while (!tasks_.empty() || !timers_.empty() || !handlers_.empty() || !postedElsewhere_.empty()) {
    const auto tasks = std::exchange(tasks_, {});
    const auto timers = std::exchange(timers_, {});
    const auto handlers = std::exchange(handlers_, {});
    const auto postedElsewhere = std::exchange(postedElsewhere_, {});
  }
}

void EventLoop::post(Task task) {
  if (systemCalls().thisThread() == thread_) {
    tasks_.push_back(std::move(task));
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    postedElsewhere_.push_back(std::move(task));
  }
  poller_.wake();
}

EventLoop::Registration EventLoop::at(Clock::time_point deadline, Task task) {
  const std::uint64_t id = ++lastId_;
  timers_.emplace(Key(deadline, id), std::move(task));
  return {*this, {deadline, id}};
}

EventLoop::Registration EventLoop::onReadable(int descriptor, Handler handler) {
  return watch(descriptor, Poller::Event::readable, std::move(handler));
}

EventLoop::Registration EventLoop::onWritable(int descriptor, Handler handler) {
  return watch(descriptor, Poller::Event::writable, std::move(handler));
}

EventLoop::Registration EventLoop::watch(int descriptor, Poller::Event event, Handler handler) {
  const std::uint64_t id = ++lastId_;
  handlers_.emplace(id, std::make_shared<Handler>(std::move(handler)));
  if (const auto added = poller_.add(id, descriptor, event); !added) {
    SystemLog::write(SystemLog::Severity::error,
                     "cannot watch a descriptor yet: " + added.failure().description());
    refused_.push_back({id, descriptor, event});
    watchAgain_ = at(now() + retryPause, [this] { watchAgain(); });
  }
  return {*this, {Clock::time_point::max(), id}};
}

void EventLoop::watchAgain() {
  std::erase_if(refused_, [this](const Refused& watch) {
    return static_cast<bool>(poller_.add(watch.id, watch.descriptor, watch.event));
  });
  if (!refused_.empty()) watchAgain_ = at(now() + retryPause, [this] { watchAgain(); });
}

/// Ends a timer or a watch, if it still exists. Its closure is moved out first, because destroying
/// it may cancel others.
void EventLoop::cancel(const Key& key) {
  if (const auto found = handlers_.find(key.second); found != handlers_.end()) {
    poller_.remove(key.second);
    std::erase_if(refused_, [&](const Refused& watch) { return watch.id == key.second; });
    const auto handler = std::move(found->second);
    handlers_.erase(found);
  } else {
    const auto timer = timers_.extract(key);
  }
}

void EventLoop::turnUntil(Clock::time_point end) {
  turnEnds_ = false;
  do {
    if (!runTasks(end)) return;
    const auto deadline = timers_.empty() ? end : std::min(end, timers_.begin()->first.first);
    poller_.wait(tasks_.empty() ? deadline : Clock::time_point::min(), ready_);
    takePostedElsewhere();
    callHandlers();
    runTimers();
  } while (!tasks_.empty() || now() < end);
}

void EventLoop::endTurn() {
  post([this] { turnEnds_ = true; });
}

void EventLoop::takePostedElsewhere() {
  const std::lock_guard lock(mutex_);
  for (Task& task : postedElsewhere_) tasks_.push_back(std::move(task));
  postedElsewhere_.clear();
}

/// Runs tasks until none is left or `mostTasksInARow` have run. Returns false if the turn is over.
bool EventLoop::runTasks(Clock::time_point end) {
  for (int count = 0; !tasks_.empty() && count < mostTasksInARow; ++count) {
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    task();
    if (turnEnds_) return false;
  }
  return tasks_.empty() || now() < end;
}

/// Runs the timers that are due, one by one, because each may cancel others.
void EventLoop::runTimers() {
  if (timers_.empty()) return;
  const auto start = now();
  while (!timers_.empty() && timers_.begin()->first.first <= start) {
    auto timer = timers_.extract(timers_.begin());
    timer.mapped()();
  }
}

/// Calls the handlers of descriptors that are ready. Each may cancel its own watch and others that
/// are ready as well.
void EventLoop::callHandlers() {
  for (const std::uint64_t id : ready_) {
    const auto found = handlers_.find(id);
    if (found == handlers_.end()) continue;
    const std::shared_ptr<Handler> handler = found->second;
    (*handler)();
  }
  ready_.clear();
}

}  // namespace corvane::Platform
