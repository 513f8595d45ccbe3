#include "Platform/Poller.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <map>
#include <set>

#include "Platform/Clocks.h"
#include "Platform/File.h"
#include "Platform/HardStop.h"
#include "Platform/Linux/LinuxCalls.h"
#include "Platform/OwnedDescriptor.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

using Clock = std::chrono::steady_clock;

/// The time until `end` in milliseconds, rounded up: 0 if it has passed, at most a day.
int timeLeft(Clock::time_point end) {
  using std::chrono::milliseconds;
  constexpr std::chrono::hours longest(24);
  if (end == Clock::time_point::min()) return 0;
  const auto now = steadyNow();
  if (end <= now) return 0;
  const auto left = std::min<Clock::duration>(end - now, longest);
  return static_cast<int>(std::chrono::ceil<milliseconds>(left).count());
}

}  // namespace

/// Uses epoll(7), level-triggered. It rejects regular files, which therefore count as always ready.
class Poller::Implementation {
 public:
  Implementation()
      : events_(linuxCalls().epollCreate(EPOLL_CLOEXEC)),
        wake_(linuxCalls().eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!events_ || !wake_ || !add(wakeId, wake_.number(), Event::readable))
      hardStop("the system lacks what an event loop needs");
  }

  Result<Done> add(std::uint64_t id, int descriptor, Event event) {
    epoll_event wanted = {};
    wanted.events = event == Event::readable ? EPOLLIN : EPOLLOUT;
    wanted.data.u64 = id;
    if (linuxCalls().epollControl(events_.number(), EPOLL_CTL_ADD, descriptor, &wanted) == 0) {
      descriptors_[id] = descriptor;
    } else if (errno == EPERM) {
      alwaysReady_.insert(id);
    } else {
      return failureFromErrno("epoll_ctl");
    }
    return Done{};
  }

  void remove(std::uint64_t id) {
    alwaysReady_.erase(id);
    const auto found = descriptors_.find(id);
    if (found == descriptors_.end()) return;
    linuxCalls().epollControl(events_.number(), EPOLL_CTL_DEL, found->second, nullptr);
    descriptors_.erase(found);
  }

  void wait(Clock::time_point end, std::vector<std::uint64_t>& ready) {
    std::array<epoll_event, 16> events = {};
    const int limit = alwaysReady_.empty() ? timeLeft(end) : 0;
    const int count = linuxCalls().epollWait(events_.number(), events.data(),
                                             static_cast<int>(events.size()), limit);
    for (int i = 0; i < count; ++i) {
      const std::uint64_t id = events[static_cast<std::size_t>(i)].data.u64;
      if (id != wakeId) {
        ready.push_back(id);
        continue;
      }
      std::uint64_t calls = 0;
      systemCalls().read(wake_.number(), &calls,
                         sizeof calls);  // after a failure `wait` just returns once more
    }
    ready.insert(ready.end(), alwaysReady_.begin(), alwaysReady_.end());
  }

  void wake() {
    const std::uint64_t one = 1;
    while (systemCalls().write(wake_.number(), &one, sizeof one) < 0 && errno == EINTR) continue;
  }

 private:
  static constexpr std::uint64_t wakeId = 0;

  const OwnedDescriptor events_;
  const OwnedDescriptor wake_;
  std::map<std::uint64_t, int> descriptors_;  // those in the epoll instance, by id
  std::set<std::uint64_t> alwaysReady_;       // ids of regular files
};

Poller::Poller() : implementation_(std::make_unique<Implementation>()) {}

Poller::~Poller() = default;

Result<Done> Poller::add(std::uint64_t id, int descriptor, Event event) {
  return implementation_->add(id, descriptor, event);
}

void Poller::remove(std::uint64_t id) {
  implementation_->remove(id);
}

void Poller::wait(Clock::time_point end, std::vector<std::uint64_t>& ready) {
  implementation_->wait(end, ready);
}

void Poller::wake() {
  implementation_->wake();
}

}  // namespace corvane::Platform
