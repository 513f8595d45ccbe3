#include "Platform/ReadingTurn.h"

#include <sys/event.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdint>

#include "Platform/Posix/OwnedDescriptor.h"

namespace corvane::Platform {

/// The descriptor is watched only while the turn is on offer, and for one event; a second one wakes
/// a waiting thread without it. Pipes and sockets are watched, of which alone the system tells the
/// end as well; everything else counts as something that can always be read.
class ReadingTurn::Implementation {
 public:
  explicit Implementation(int descriptor) : descriptor_(descriptor), events_(::kqueue()) {
    struct stat status = {};
    isWatchable_ =
        ::fstat(descriptor, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
    change(0, EVFILT_USER, EV_ADD | EV_CLEAR, 0);
  }

  [[nodiscard]] bool isUsable() const { return static_cast<bool>(events_); }

  void offer(bool hasMore) {
    isOnOffer_ = true;
    if (!hasMore && isWatchable_ && change(descriptor_, EVFILT_READ, EV_ADD | EV_ONESHOT, 0))
      return;
    change(0, EVFILT_USER, 0, NOTE_TRIGGER);
  }

  bool takeBack() {
    if (!isOnOffer_.exchange(false)) return false;
    if (isWatchable_) change(descriptor_, EVFILT_READ, EV_DELETE, 0);  // unless it has been told
    return true;
  }

  void await() {
    do {
      struct kevent event = {};
      ::kevent(events_.number(), nullptr, 0, &event, 1, nullptr);
    } while (!isOnOffer_.exchange(false));
  }

 private:
  bool change(int what, std::int16_t filter, std::uint16_t flags, std::uint32_t filterFlags) {
    struct kevent event = {};
    EV_SET(&event, static_cast<std::uintptr_t>(what), filter, flags, filterFlags, 0, nullptr);
    return ::kevent(events_.number(), &event, 1, nullptr, 0, nullptr) == 0;
  }

  const int descriptor_;
  const OwnedDescriptor events_;  // no child of ours inherits a kernel queue
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
