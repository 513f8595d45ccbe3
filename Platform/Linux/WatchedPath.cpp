#include "Platform/Linux/WatchedPath.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <cstring>
#include <span>
#include <utility>

#include "Platform/Descriptor.h"
#include "Platform/File.h"
#include "Platform/Linux/DescriptorPath.h"
#include "Platform/Linux/LinuxCalls.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

constexpr std::uint32_t entryEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t writeEvents = IN_MODIFY | entryEvents;

// The descriptor that stays open keeps the kernel's own deletion event back. A file that loses a
// name changes its attributes, and so does a folder that is replaced; one that is removed gives no
// event at all, but the folder above it does.
constexpr std::uint32_t fileEvents = IN_MODIFY | IN_ATTRIB;
constexpr std::uint32_t folderEvents = entryEvents | IN_ATTRIB | IN_MOVE_SELF;
constexpr std::uint32_t parentEvents = IN_DELETE;

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
  OwnedDescriptor file(systemCalls().open(path.c_str(), O_PATH | O_CLOEXEC));
  if (!file) return failureFromErrno("open");
  return file;
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

std::vector<SystemFileEvent> Inotify::receive() {
  const auto count = Descriptor::readSome(instance_.number(), buffer_);
  if (!count) return {};
  return eventsIn(std::span(buffer_).first(count.value()));
}

int Inotify::add(const OwnedDescriptor& file, std::uint32_t events) {
  const int watch =
      linuxCalls().inotifyAddWatch(instance_.number(), pathOf(file).c_str(), events | IN_MASK_ADD);
  if (watch >= 0) ++users_[watch];
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
  isFolder_ = S_ISDIR(status.st_mode);
  own_ = inotify_.add(file_, isFolder_ ? folderEvents : fileEvents);
  if (own_ < 0) return failureFromErrno("inotify_add_watch");
  watchParent();
  if (isDeleted()) return Failure{FailureCause::notFound, "removed while it was opened"};
  return Done{};
}

std::optional<FileEvent> WatchedPath::meaningOf(const SystemFileEvent& event) {
  const bool isOwn = event.watch == static_cast<std::uint64_t>(own_);
  const bool areEventsLost = (event.what & IN_Q_OVERFLOW) != 0;
  if (!isOwn && event.watch != static_cast<std::uint64_t>(parent_) && !areEventsLost)
    return std::nullopt;
  if (isOwn && (event.what & writeEvents) != 0) return FileEvent::written;
  if (areEventsLost || (event.what & IN_MOVE_SELF) != 0) watchParent();
  if (!deletionIsTold_ && isDeleted()) {
    deletionIsTold_ = true;
    return FileEvent::deleted;
  }
  if (areEventsLost) return FileEvent::written;
  return std::nullopt;
}

/// For a folder: watches the one that it is in now.
void WatchedPath::watchParent() {
  if (!isFolder_) return;
  const OwnedDescriptor parent(
      systemCalls().openat(file_.number(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
  inotify_.release(std::exchange(parent_, parent ? inotify_.add(parent, parentEvents) : -1));
}

bool WatchedPath::isDeleted() const {
  struct stat status = {};
  return systemCalls().fstat(file_.number(), &status) == 0 && status.st_nlink == 0;
}

}  // namespace corvane::Platform
