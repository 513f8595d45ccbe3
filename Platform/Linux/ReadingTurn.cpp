#include "Platform/ReadingTurn.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <atomic>
#include <cstdint>

#include "Platform/Posix/OwnedDescriptor.h"

namespace corvane::Platform {

/// The descriptor is watched only while the turn is on offer, and for one event; a second one wakes
/// a waiting thread without it. What can't be watched, a plain file, can always be read.
class ReadingTurn::Implementation {
 public:
  explicit Implementation(int descriptor)
      : descriptor_(descriptor),
        events_(::epoll_create1(EPOLL_CLOEXEC)),
        wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = wake_.number();
    ::epoll_ctl(events_.number(), EPOLL_CTL_ADD, wake_.number(), &event);
    isWatchable_ = watch(EPOLL_CTL_ADD, 0);
  }

  [[nodiscard]] bool isUsable() const { return events_ && wake_; }

  void offer(bool hasMore) {
    isOnOffer_ = true;
    if (!hasMore && isWatchable_ && watch(EPOLL_CTL_MOD, EPOLLIN)) return;
    ::eventfd_write(wake_.number(), 1);
  }

  bool takeBack() {
    if (!isOnOffer_.exchange(false)) return false;
    if (isWatchable_) watch(EPOLL_CTL_MOD, 0);
    return true;
  }

  void await() {
    do {
      epoll_event event = {};
      if (::epoll_wait(events_.number(), &event, 1, -1) <= 0) continue;
      eventfd_t count = 0;
      if (event.data.fd == wake_.number()) ::eventfd_read(wake_.number(), &count);
    } while (!isOnOffer_.exchange(false));
  }

 private:
  bool watch(int operation, std::uint32_t what) {
    epoll_event event = {};
    event.events = what | EPOLLONESHOT;  // the end is always told, so that only once, too
    event.data.fd = descriptor_;
    return ::epoll_ctl(events_.number(), operation, descriptor_, &event) == 0;
  }

  const int descriptor_;
  const OwnedDescriptor events_;
  const OwnedDescriptor wake_;
  bool isWatchable_ = false;
  std::atomic<bool> isOnOffer_{false};
};

ReadingTurn::ReadingTurn(int descriptor)
    : implementation_(std::make_unique<Implementation>(descriptor)) {}

ReadingTurn::~ReadingTurn() = default;

bool ReadingTurn::isUsable() const {
  return implementation_->isUsable();
}

void ReadingTurn::offer(bool hasMore) {
  implementation_->offer(hasMore);
}

bool ReadingTurn::takeBack() {
  return implementation_->takeBack();
}

void ReadingTurn::await() {
  implementation_->await();
}

}  // namespace corvane::Platform
