#include <fcntl.h>
#include <sys/event.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>
#include <utility>

#include "Platform/File.h"
#include "Platform/Posix/FileEventSource.h"
#include "Platform/SystemCalls.h"

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

  std::vector<FileEvent> meaningsOf(const SystemFileEvent& event) override {
    std::vector<FileEvent> meanings;
    if (event.watch != number_) return meanings;
    if ((event.what & NOTE_WRITE) != 0) meanings.push_back(FileEvent::written);
    // A file may have lost one name of several; a folder never has more than one.
    if ((event.what & NOTE_DELETE) != 0 && !deletionIsTold_ && (isFolder_ || !hasName())) {
      deletionIsTold_ = true;
      meanings.push_back(FileEvent::deleted);
    }
    return meanings;
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

  Result<std::vector<SystemFileEvent>> receive() override {
    for (;;) {
      struct kevent event = {};
      // A file that was revoked gives an event that means nothing here: no flags but EV_EOF.
      if (::kevent(queue_.number(), nullptr, 0, &event, 1, nullptr) >= 0)
        return std::vector<SystemFileEvent>{
            {reinterpret_cast<std::uintptr_t>(event.udata), event.fflags}};
      if (errno == ENOMEM) {
        std::this_thread::sleep_for(pauseWithoutMemory);
      } else if (errno != EINTR) {
        return failureFromErrno("kevent");
      }
    }
  }

 private:
  const OwnedDescriptor queue_;
  std::uint64_t lastNumber_ = 0;
};

}  // namespace

Result<OwnedDescriptor> FileEventSource::open(const std::string& path) {
  int file = 0;
  do {
    file = systemCalls().open(path.c_str(), O_EVTONLY | O_CLOEXEC);
  } while (file < 0 && errno == EINTR);
  if (file < 0) return failureFromErrno("open", path);
  return OwnedDescriptor(file);
}

Result<std::unique_ptr<FileEventSource>> FileEventSource::make() {
  OwnedDescriptor queue(::kqueue());
  if (!queue || ::fcntl(queue.number(), F_SETFD, FD_CLOEXEC) != 0)
    return failureFromErrno("kqueue");
  return std::unique_ptr<FileEventSource>(new KernelQueue(std::move(queue)));
}

}  // namespace corvane::Platform
