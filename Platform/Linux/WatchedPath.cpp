#include "Platform/Linux/WatchedPath.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

#include "Platform/File.h"

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

}  // namespace

int Inotify::add(const OwnedDescriptor& file, std::uint32_t events) {
  const int watch =
      ::inotify_add_watch(instance_.number(), file.path().c_str(), events | IN_MASK_ADD);
  if (watch >= 0) ++users_[watch];
  return watch;
}

void Inotify::release(int watch) {
  const auto found = users_.find(watch);
  if (found == users_.end() || --found->second > 0) return;
  users_.erase(found);
  ::inotify_rm_watch(instance_.number(), watch);
}

WatchedPath::WatchedPath(Inotify& inotify, OwnedDescriptor file)
    : inotify_(inotify), file_(std::move(file)) {}

WatchedPath::~WatchedPath() {
  inotify_.release(own_);
  inotify_.release(parent_);
}

Result<Done> WatchedPath::begin() {
  struct stat status = {};
  if (::fstat(file_.number(), &status) != 0) return failureFromErrno("fstat");
  isFolder_ = S_ISDIR(status.st_mode);
  own_ = inotify_.add(file_, isFolder_ ? folderEvents : fileEvents);
  if (own_ < 0) return failureFromErrno("inotify_add_watch");
  watchParent();
  if (isDeleted()) return Failure{FailureCause::notFound, "removed while it was opened"};
  return Done{};
}

std::optional<FileEvent> WatchedPath::meaningOf(const inotify_event& event) {
  const bool isOwn = event.wd == own_;
  const bool areEventsLost = (event.mask & IN_Q_OVERFLOW) != 0;
  if (!isOwn && event.wd != parent_ && !areEventsLost) return std::nullopt;
  if (isOwn && (event.mask & writeEvents) != 0) return FileEvent::written;
  if (areEventsLost || (event.mask & IN_MOVE_SELF) != 0) watchParent();
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
  const OwnedDescriptor parent(::openat(file_.number(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
  inotify_.release(std::exchange(parent_, parent ? inotify_.add(parent, parentEvents) : -1));
}

bool WatchedPath::isDeleted() const {
  struct stat status = {};
  return ::fstat(file_.number(), &status) == 0 && status.st_nlink == 0;
}

}  // namespace corvane::Platform
