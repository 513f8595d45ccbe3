#include "tools/corvane-nmctl/MainAppCheck/Bench.h"

#include <poll.h>

#include <algorithm>
#include <fstream>
#include <utility>

#include "Base/TimeLimits.h"
#include "Platform/Directories.h"
#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"
#include "SharedComponents/Configuration.h"
#include "SharedComponents/Exchange/ExchangeBuffer.h"
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

/// Ends the examination, as somebody holds the lock of `file` for too long. Which counts against
/// `application` only if it does: anybody who holds it may have been stopped.
[[noreturn]] void tellOfLock(const std::string& path, const File& file, pid_t application) {
  const auto status = file.status();
  const std::string holder = " " + std::to_string(application) + " ";
  const std::string held = ":" + std::to_string(status ? status->inode : 0) + " ";
  const std::string said = " has held the lock of " + path + " for 3.0 s";
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);)
    if (line.find(": FLOCK ") != std::string::npos && line.find(holder) != std::string::npos &&
        line.find(held) != std::string::npos)
      broken("the application" + said);
  notShown("somebody else" + said);
}

}  // namespace

std::vector<std::string> entriesOf(const Result<Platform::OwnedDescriptor>& folder) {
  if (!folder) notShown(folder.failure().text);
  auto names = Platform::Directories::entries(folder.value());
  if (!names) notShown(names.failure().text);
  return std::move(names).value();
}

bool holdsAnything(const std::string& path) {
  const auto status = Platform::statusOf(path);
  return status && status->size > 0;
}

Result<Bench> Bench::make(const std::string& container, const Instance& instance, int wakings) {
  auto folders = Platform::NotificationDirectory::open(container);
  if (!folders) return folders.failure();
  return Bench(container, instance, wakings, std::move(folders).value());
}

Bench::Bench(std::string container, Instance instance, int wakings,
             Platform::NotificationDirectory folders)
    : container_(std::move(container)),
      instance_(std::move(instance)),
      wakings_(wakings),
      folders_(std::move(folders)) {}

std::string Bench::requestFile() const {
  return dataFolder() + "/" + requestFileName;
}

std::string Bench::responseFile(const std::string& id) const {
  return dataFolder() + "/ExchangeResponseContainer." + id + ".data";
}

void Bench::post(const std::string& word) const {
  Platform::EventLoop loop;
  Platform::NotificationCenter(loop, container_).post(notificationName(word));
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
  if (triesLeft_ > mostTries) return true;
  if (triesLeft_ == 0) return false;
  --triesLeft_;
  try {
    PlayedHost(*this).ask("appState");
    triesLeft_ = mostTries + 1;
  } catch (const Ended&) {  // it is said of the points that are about this
    return false;
  }
  return true;
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
      if (Clock::now() >= end) tellOfLock(path, file.value(), instance_.process);
      waitUntil(Clock::now() + pause);
    }
    const auto status = file->status();
    if (status && status->isLinked) return std::move(file).value();
  }
}

void Bench::appendTo(File& file, std::string_view bytes) {
  const auto status = file.status();
  if (!status || status->size > ExchangeBuffer::maximumBufferLength)
    notShown("the file of requests or replies is full");
  const auto taken = file.writeAt(bytesOf(bytes), {}, status->size);
  if (taken && taken.value() == bytes.size()) return;
  (void)file.truncate(status->size);
  notShown("the file of requests or replies can't be written");
}

void Bench::append(std::string_view bytes) const {
  File file = locked(requestFile(), File::Access::update);
  appendTo(file, bytes);
}

void Bench::appendAlone(std::string_view bytes) const {
  const auto end = Clock::now() + replyLimit;
  while (Clock::now() < end) {
    {
      File file = locked(requestFile(), File::Access::update);
      const auto status = file.status();
      if (status && status->size == 0) return appendTo(file, bytes);
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

void Bench::seeTo(const std::string& what, const std::function<void()>& task) {
  const bool wasInterruptible = std::exchange(isInterruptible_, false);
  try {
    task();
  } catch (const Ended& ended) {
    leftBehind_.push_back(what + ": " + ended.what());
  }
  isInterruptible_ = wasInterruptible;
}

std::vector<std::string> Bench::leave() {
  seeTo("late replies may stay in Data/", [this] {
    for (const auto& [id, sent] : late_) {
      // One that is empty is just being made, and would be made again.
      while (Clock::now() < sent + latestLateReply && isRunning() &&
             !holdsAnything(responseFile(id)))
        waitUntil(Clock::now() + pause);
      (void)Platform::removeFile(responseFile(id));
    }
  });
  return std::move(leftBehind_);
}

}  // namespace corvane::Nmctl::MainAppCheck
