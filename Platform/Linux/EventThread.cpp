#include "Platform/Linux/EventThread.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "Platform/File.h"
#include "Platform/SystemLog.h"
#include "Platform/Threads.h"

namespace corvane::Platform {
namespace {

bool addToSet(const OwnedDescriptor& set, int descriptor) {
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.fd = descriptor;
  return ::epoll_ctl(set.number(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

}  // namespace

EventThread::EventThread(std::string name) : name_(std::move(name)) {}

EventThread::~EventThread() {
  stop();
}

Result<Done> EventThread::start() {
  if (thread_.joinable()) return Done{};
  all_ = OwnedDescriptor(::epoll_create1(EPOLL_CLOEXEC));
  wake_ = OwnedDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!all_ || !wake_ || !addToSet(all_, wake_.number())) return failureFromErrno("epoll");
  try {
    thread_ = std::thread([this] { run(); });
  } catch (const std::system_error& error) {
    return Failure{FailureCause::other, error.what()};
  }
  return Done{};
}

void EventThread::stop() {
  if (!thread_.joinable()) return;
  isEnding_ = true;
  ::eventfd_write(wake_.number(), 1);  // to an empty counter: succeeds
  thread_.join();
}

Result<Done> EventThread::add(int descriptor, Handler handler) {
  {
    const std::lock_guard lock(mutex_);
    handlers_[descriptor] = std::make_shared<const Handler>(std::move(handler));
  }
  if (addToSet(all_, descriptor)) return Done{};
  const Failure failure = failureFromErrno("epoll_ctl");
  remove(descriptor);
  return failure;
}

void EventThread::remove(int descriptor) {
  ::epoll_ctl(all_.number(), EPOLL_CTL_DEL, descriptor, nullptr);
  std::shared_ptr<const Handler> removed;  // gone only after the lock: with it goes what it holds
  const std::lock_guard lock(mutex_);
  if (const auto found = handlers_.find(descriptor); found != handlers_.end()) {
    removed = std::move(found->second);
    handlers_.erase(found);
  }
}

void EventThread::run() {
  nameThisThread(name_);
  std::array<epoll_event, 8> ready = {};
  while (!isEnding_) {
    const int count = ::epoll_wait(all_.number(), ready.data(), static_cast<int>(ready.size()), -1);
    if (count < 0 && errno != EINTR) {
      SystemLog::write(SystemLog::Severity::error, "the thread " + name_ + " cannot wait any more");
      return;
    }
    for (int i = 0; i < count && !isEnding_; ++i) call(ready[static_cast<std::size_t>(i)].data.fd);
  }
}

void EventThread::call(int descriptor) {
  std::shared_ptr<const Handler> handler;
  {
    const std::lock_guard lock(mutex_);
    const auto found = handlers_.find(descriptor);
    if (found == handlers_.end()) return;  // removed meanwhile, or `wake_`
    handler = found->second;
  }
  (*handler)();
}

}  // namespace corvane::Platform
