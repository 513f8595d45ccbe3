#include <fcntl.h>
#include <sys/event.h>
#include <sys/stat.h>

#include <cerrno>
#include <initializer_list>
#include <utility>

#include "Platform/File.h"
#include "Platform/Posix/FileEventSource.h"

namespace corvane::Platform {
namespace {

/// One file in the kernel queue; closing its descriptor takes it out.
class WatchedVnode final : public WatchedFile {
 public:
  WatchedVnode(OwnedDescriptor file, std::uint64_t number)
      : file_(std::move(file)), number_(number) {}

  Result<Done> begin(const OwnedDescriptor& queue) {
    struct stat status = {};
    if (::fstat(file_.number(), &status) != 0) return failureFromErrno("fstat");
    isFolder_ = S_ISDIR(status.st_mode);
    struct kevent change = {};
    EV_SET(&change, static_cast<std::uintptr_t>(file_.number()), EVFILT_VNODE, EV_ADD | EV_CLEAR,
           NOTE_WRITE | NOTE_DELETE, 0, reinterpret_cast<void*>(number_));
    if (::kevent(queue.number(), &change, 1, nullptr, 0, nullptr) < 0)
      return failureFromErrno("kevent");
    if (!hasName()) return Failure{FailureCause::notFound, "removed while it was opened"};
    return Done{};
  }

  std::optional<FileEvent> meaningOf(const SystemFileEvent& event) override {
    if (event.watch != number_) return std::nullopt;
    if (event.what == NOTE_WRITE) return FileEvent::written;
    // A file may have lost one name of several; a folder never has more than one.
    if (deletionIsTold_ || (!isFolder_ && hasName())) return std::nullopt;
    deletionIsTold_ = true;
    return FileEvent::deleted;
  }

  [[nodiscard]] int descriptor() const override { return file_.number(); }

 private:
  [[nodiscard]] bool hasName() const {
    struct stat status = {};
    return ::fstat(file_.number(), &status) != 0 || status.st_nlink > 0;
  }

  const OwnedDescriptor file_;
  const std::uint64_t number_;  // descriptors are used again, this is not
  bool isFolder_ = false;
  bool deletionIsTold_ = false;
};

class KernelQueue final : public FileEventSource {
 public:
  explicit KernelQueue(OwnedDescriptor queue) : queue_(std::move(queue)) {}

  Result<std::shared_ptr<WatchedFile>> watch(OwnedDescriptor file) override {
    auto watched = std::make_shared<WatchedVnode>(std::move(file), ++lastNumber_);
    if (auto begun = watched->begin(queue_); !begun) return begun.failure();
    return std::shared_ptr<WatchedFile>(std::move(watched));
  }

  std::vector<SystemFileEvent> receive() override {
    struct kevent event = {};
    int count = 0;
    do {
      count = ::kevent(queue_.number(), nullptr, 0, &event, 1, nullptr);
    } while (count < 0 && errno == EINTR);
    std::vector<SystemFileEvent> events;
    if (count != 1) return events;
    for (const std::uint32_t what : std::initializer_list<std::uint32_t>{NOTE_WRITE, NOTE_DELETE}) {
      if ((event.fflags & what) != 0)
        events.push_back({reinterpret_cast<std::uintptr_t>(event.udata), what});
    }
    return events;
  }

 private:
  const OwnedDescriptor queue_;
  std::uint64_t lastNumber_ = 0;
};

}  // namespace

Result<OwnedDescriptor> FileEventSource::open(const std::string& path) {
  OwnedDescriptor file(::open(path.c_str(), O_EVTONLY | O_CLOEXEC));
  if (!file) return failureFromErrno("open");
  return file;
}

Result<std::unique_ptr<FileEventSource>> FileEventSource::make() {
  OwnedDescriptor queue(::kqueue());
  if (!queue || ::fcntl(queue.number(), F_SETFD, FD_CLOEXEC) != 0)
    return failureFromErrno("kqueue");
  return std::unique_ptr<FileEventSource>(new KernelQueue(std::move(queue)));
}

}  // namespace corvane::Platform
