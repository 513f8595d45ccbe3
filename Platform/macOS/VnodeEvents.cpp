#include <fcntl.h>
#include <sys/event.h>

#include <cerrno>
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

  /// One meaning at most, so that one event is one call.
  std::vector<FileEvent> meaningsOf(const SystemFileEvent& event) override {
    if (event.watch != number_) return {};
    if ((event.what & NOTE_DELETE) != 0) return {FileEvent::deleted};
    if ((event.what & NOTE_WRITE) != 0) return {FileEvent::written};
    return {};  // a revoked file, or one whose volume is gone, gives an event without a flag
  }

  [[nodiscard]] int descriptor() const override { return file_.number(); }

 private:
  const OwnedDescriptor file_;
  const std::uint64_t number_;  // descriptors are used again, this is not
};

class KernelQueue final : public FileEventSource {
 public:
  explicit KernelQueue(OwnedDescriptor queue) : queue_(std::move(queue)) {}

  Result<std::shared_ptr<WatchedFile>> watch(OwnedDescriptor file) override {
    struct kevent change = {};
    EV_SET(&change, static_cast<std::uintptr_t>(file.number()), EVFILT_VNODE, EV_ADD | EV_CLEAR,
           NOTE_WRITE | NOTE_DELETE, 0, reinterpret_cast<void*>(++lastNumber_));
    if (::kevent(queue_.number(), &change, 1, nullptr, 0, nullptr) < 0)
      return failureFromErrno("kevent");
    return std::shared_ptr<WatchedFile>(
        std::make_shared<WatchedVnode>(std::move(file), lastNumber_));
  }

  Result<std::vector<SystemFileEvent>> receive() override {
    struct kevent event = {};
    while (::kevent(queue_.number(), nullptr, 0, &event, 1, nullptr) < 0)
      if (errno != EINTR) return failureFromErrno("kevent");
    return std::vector<SystemFileEvent>{
        {reinterpret_cast<std::uintptr_t>(event.udata), event.fflags}};
  }

 private:
  const OwnedDescriptor queue_;  // child processes do not inherit it
  std::uint64_t lastNumber_ = 0;
};

}  // namespace

Result<OwnedDescriptor> FileEventSource::open(const std::string& path) {
  return openAt(AT_FDCWD, path, O_EVTONLY);
}

Result<std::unique_ptr<FileEventSource>> FileEventSource::make() {
  OwnedDescriptor queue(::kqueue());
  if (!queue) return failureFromErrno("kqueue");
  return std::unique_ptr<FileEventSource>(new KernelQueue(std::move(queue)));
}

}  // namespace corvane::Platform
