#include "Platform/Linux/WatchedPath.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <span>
#include <thread>
#include <utility>

#include "Platform/File.h"
#include "Platform/Linux/DescriptorPath.h"
#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"
#include "Platform/SystemLog.h"

namespace corvane::Platform {
namespace {

constexpr std::uint32_t entryEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t writeEvents = IN_MODIFY | entryEvents;

// The kernel reports a deletion only once the last descriptor is closed, and ours stays open. But a
// file that loses a name reports a change of its attributes, and so does a directory that is
// replaced. A directory that is removed reports nothing; its parent does.
constexpr std::uint32_t fileEvents = IN_MODIFY | IN_ATTRIB;
constexpr std::uint32_t directoryEvents = entryEvents | IN_ATTRIB | IN_MOVE_SELF;
constexpr std::uint32_t parentEvents = IN_DELETE;

/// How long `receive` waits before it repeats a call that lacked memory.
constexpr std::chrono::milliseconds pauseWithoutMemory{10};

std::vector<SystemFileEvent> eventsIn(std::span<const std::byte> bytes) {
  std::vector<SystemFileEvent> events;
  while (!bytes.empty()) {
    inotify_event event = {};
    std::memcpy(&event, bytes.data(), sizeof event);
    bytes = bytes.subspan(sizeof event + event.len);
    events.push_back({static_cast<std::uint64_t>(event.wd), event.mask});
  }
  return events;
}

}  // namespace

Result<OwnedDescriptor> FileEventSource::open(const std::string& path) {
  int file = 0;
  do {
    file = systemCalls().open(path.c_str(), O_PATH | O_CLOEXEC);
  } while (file < 0 && errno == EINTR);
  if (file < 0) return failureFromErrno("open", path);
  return OwnedDescriptor(file);
}

Result<std::unique_ptr<FileEventSource>> FileEventSource::make() {
  OwnedDescriptor instance(linuxCalls().inotifyInit(IN_CLOEXEC));
  if (!instance) return failureFromErrno("inotify_init1");
  return std::unique_ptr<FileEventSource>(new Inotify(std::move(instance)));
}

Result<std::shared_ptr<WatchedFile>> Inotify::watch(OwnedDescriptor file) {
  auto path = std::make_shared<WatchedPath>(*this, std::move(file));
  if (auto begun = path->begin(); !begun) return begun.failure();
  return std::shared_ptr<WatchedFile>(std::move(path));
}

Result<std::vector<SystemFileEvent>> Inotify::receive() {
  for (;;) {
    const ssize_t count = systemCalls().read(instance_.number(), buffer_.data(), buffer_.size());
    if (count > 0) return eventsIn(std::span(buffer_).first(static_cast<std::size_t>(count)));
    if (count == 0) return Failure{FailureCause::other, "read: no events"};
    if (errno == ENOMEM) {
      std::this_thread::sleep_for(pauseWithoutMemory);
    } else if (errno != EINTR) {
      return failureFromErrno("read");
    }
  }
}

Result<int> Inotify::add(const OwnedDescriptor& file, std::uint32_t events) {
  const std::string path = pathOf(file);
  const int watch =
      linuxCalls().inotifyAddWatch(instance_.number(), path.c_str(), events | IN_MASK_ADD);
  if (watch < 0) return failureFromErrno("inotify_add_watch");
  ++users_[watch];
  return watch;
}

void Inotify::release(int watch) {
  const auto found = users_.find(watch);
  if (found == users_.end() || --found->second > 0) return;
  users_.erase(found);
  linuxCalls().inotifyRemoveWatch(instance_.number(), watch);
}

WatchedPath::WatchedPath(Inotify& inotify, OwnedDescriptor file)
    : inotify_(inotify), file_(std::move(file)) {}

WatchedPath::~WatchedPath() {
  inotify_.release(own_);
  inotify_.release(parent_);
}

Result<Done> WatchedPath::begin() {
  struct stat status = {};
  if (systemCalls().fstat(file_.number(), &status) != 0) return failureFromErrno("fstat");
  isDirectory_ = S_ISDIR(status.st_mode);
  const auto own = inotify_.add(file_, isDirectory_ ? directoryEvents : fileEvents);
  if (!own) return own.failure();
  own_ = own.value();
  auto parent = watchParent();
  if (!parent && parent.failure().cause != FailureCause::notPermitted) return parent;
  const auto deleted = isDeleted();
  if (!deleted) return deleted.failure();
  if (deleted.value()) return Failure{FailureCause::notFound, "removed while it was opened"};
  return Done{};
}

std::vector<FileEvent> WatchedPath::meaningsOf(const SystemFileEvent& event) {
  const bool isOwn = event.watch == static_cast<std::uint64_t>(own_);
  const bool areEventsLost = (event.what & IN_Q_OVERFLOW) != 0;
  if (!isOwn && event.watch != static_cast<std::uint64_t>(parent_) && !areEventsLost) return {};
  if (isOwn && (event.what & writeEvents) != 0) return {FileEvent::written};
  std::vector<FileEvent> meanings;
  if (areEventsLost) meanings.push_back(FileEvent::written);
  if (areEventsLost || (event.what & IN_MOVE_SELF) != 0) followParent();
  if (deletionIsReported_) return meanings;
  const auto deleted = isDeleted();
  if (deleted && deleted.value()) {
    deletionIsReported_ = true;
    meanings.push_back(FileEvent::deleted);
  }
  return meanings;
}

/// Calls `watchParent` where there is no caller to return a failure to.
void WatchedPath::followParent() {
  const auto parent = watchParent();
  if (parent || parent.failure().cause == FailureCause::notPermitted ||
      parent.failure().cause == FailureCause::notFound)
    return;
  SystemLog::write(SystemLog::Severity::error,
                   "the deletion of a directory will not be seen: " + parent.failure().text);
}

/// For a directory: watches its present parent instead of the former one.
Result<Done> WatchedPath::watchParent() {
  if (!isDirectory_) return Done{};
  const auto parent = addParent();
  if (!parent && parent.failure().cause != FailureCause::notFound) return parent.failure();
  inotify_.release(std::exchange(parent_, parent ? parent.value() : -1));
  return Done{};
}

Result<int> WatchedPath::addParent() {
  const auto directory = openAt(file_.number(), "..", O_PATH | O_DIRECTORY);
  if (!directory) return directory.failure();
  return inotify_.add(directory.value(), parentEvents);
}

Result<bool> WatchedPath::isDeleted() const {
  struct stat status = {};
  if (systemCalls().fstat(file_.number(), &status) != 0) return failureFromErrno("fstat");
  return status.st_nlink == 0;
}

}  // namespace corvane::Platform
