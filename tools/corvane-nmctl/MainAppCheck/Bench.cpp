#include "tools/corvane-nmctl/MainAppCheck/Bench.h"

#include <poll.h>

#include <algorithm>
#include <utility>

#include "Base/TimeLimits.h"
#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/Link.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/Waking.h"

namespace corvane::Nmctl::MainAppCheck {

using namespace std::chrono_literals;
using Platform::File;

const std::chrono::milliseconds replyLimit = TimeLimits::reply;

namespace {

constexpr auto pause = 5ms;           // between two looks at a file: nothing tells of its lock
constexpr auto latestLateReply = 4s;  // after its request; for a later one nobody waits here

/// A response file that is empty is just being made, and would be made again.
bool holdsAnything(const std::string& path) {
  const auto status = Platform::statusOf(path);
  return status && status->size > 0;
}

}  // namespace

Result<Bench> Bench::make(const std::string& container, const Instance& instance, int wakings) {
  auto folders = Platform::NotificationFolders::open(container);
  if (!folders) return folders.failure();
  return Bench(container, instance, wakings, std::move(folders).value());
}

Bench::Bench(std::string container, Instance instance, int wakings,
             Platform::NotificationFolders folders)
    : container_(std::move(container)),
      instance_(std::move(instance)),
      wakings_(wakings),
      folders_(std::move(folders)),
      center_(std::make_unique<Platform::NotificationCenter>(container_)) {}

std::string Bench::requestFile() const {
  return dataFolder() + "/" + requestFileName;
}

std::string Bench::responseFile(const std::string& id) const {
  return dataFolder() + "/ExchangeResponseContainer." + id + ".data";
}

std::string Bench::notificationName(const std::string& word) {
  return std::string(Configuration::MainAppBundleIdentifier) + ".DARWIN_NOTIFICATION." + word;
}

bool Bench::isRunning() const {
  const auto now = registryIn(container_).running;
  return std::any_of(now.begin(), now.end(),
                     [this](const Instance& one) { return one.file == instance_.file; });
}

bool Bench::isAnswering() {
  if (!isAnswering_) {
    isAnswering_ = false;
    try {
      PlayedHost(*this).ask("appState");
      isAnswering_ = true;
    } catch (const Ended&) {  // it is said of the points that are about this
      isAnswering_ = false;
    }
  }
  return *isAnswering_;
}

bool Bench::wait(int descriptor, Clock::time_point end) const {
  for (;;) {
    if (isInterruptible_ && Waking::isInterrupted()) notShown("interrupted");
    const auto left =
        std::max(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()), 0ms);
    pollfd sources[] = {{descriptor, POLLIN, 0}, {isInterruptible_ ? wakings_ : -1, POLLIN, 0}};
    const int ready = ::poll(sources, 2, static_cast<int>(left.count()));
    if (ready > 0 && sources[0].revents != 0) return true;
    if (left == 0ms) return false;
  }
}

File Bench::locked(const std::string& path, File::Access access) const {
  const auto end = Clock::now() + replyLimit;
  for (;;) {
    auto file = File::open(path, access);
    if (!file) notShown("its file can't be opened: " + file.failure().text);
    while (!file->tryLock()) {
      if (Clock::now() >= end) broken("somebody has held the lock of " + path + " for 3 s");
      waitUntil(Clock::now() + pause);
    }
    const auto status = file->status();
    if (status && status->isLinked) return std::move(file).value();
  }
}

void Bench::append(std::string_view bytes) const {
  File file = locked(requestFile(), File::Access::update);
  const auto status = file.status();
  if (!status || !file.writeAt(bytesOf(bytes), {}, status->size))
    notShown("the request file can't be written");
}

void Bench::appendAlone(std::string_view bytes) const {
  const auto end = Clock::now() + replyLimit;
  while (Clock::now() < end) {
    {
      File file = locked(requestFile(), File::Access::update);
      const auto status = file.status();
      if (status && status->size == 0) {
        if (!file.writeAt(bytesOf(bytes), {}, 0)) notShown("the request file can't be written");
        return;
      }
    }
    waitUntil(Clock::now() + pause);
  }
  notShown("others' requests lie in the request file");
}

bool Bench::awaitTaken() const {
  const auto end = Clock::now() + replyLimit;
  for (;;) {
    const auto status = Platform::statusOf(requestFile());
    if (status && status->size == 0) return true;
    if (Clock::now() >= end) return false;
    waitUntil(Clock::now() + pause);
  }
}

bool Bench::seeTo(const std::function<void()>& task) {
  const bool wasInterruptible = std::exchange(isInterruptible_, false);
  bool isDone = false;
  try {
    task();
    isDone = true;
  } catch (const Ended&) {  // there is no better way
    isDone = false;
  }
  isInterruptible_ = wasInterruptible;
  return isDone;
}

void Bench::leave() {
  seeTo([this] {
    for (const auto& [id, sent] : late_) {
      while (Clock::now() < sent + latestLateReply && isRunning() &&
             !holdsAnything(responseFile(id)))
        waitUntil(Clock::now() + pause);
      (void)Platform::removeFile(responseFile(id));
    }
  });
}

}  // namespace corvane::Nmctl::MainAppCheck
