#include "Platform/RunningApplications.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/Linux/Folders.h"
#include "Platform/Linux/ProcessFileName.h"

namespace corvane::Platform {
namespace {

/// A process that `pidfd_open` was asked for. Where the system refuses the call itself, it never
/// says that the process ended, and the lock alone decides.
class ObservedProcess {
 public:
  explicit ObservedProcess(pid_t process)
      : descriptor_(static_cast<int>(::syscall(SYS_pidfd_open, process, 0))),
        wasGone_(!descriptor_ && errno == ESRCH) {}

  [[nodiscard]] bool hasEnded() const {
    if (!descriptor_) return wasGone_;
    pollfd ended = {descriptor_.number(), POLLIN, 0};
    return ::poll(&ended, 1, 0) > 0;
  }

 private:
  OwnedDescriptor descriptor_;
  bool wasGone_;
};

/// Whether an exclusive lock is held on the regular file `name`; takes none.
bool isLocked(const OwnedDescriptor& folder, const std::string& name) {
  const OwnedDescriptor file(
      ::openat(folder.number(), name.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
  struct stat status = {};
  if (!file || ::fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  struct flock lock = {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  return ::fcntl(file.number(), F_OFD_GETLK, &lock) == 0 && lock.l_type == F_WRLCK;
}

bool isRunningInstance(const OwnedDescriptor& folder, const std::string& name) {
  const auto process = ProcessFileName::processOf(name);
  if (!process) return false;
  // First of all: a process that ends from here on, and whose identifier another one gets, is still
  // known.
  const ObservedProcess observed(*process);
  return isLocked(folder, name) && !observed.hasEnded();
}

}  // namespace

RunningApplications::RunningApplications(std::string containerFolder)
    : containerFolder_(std::move(containerFolder)) {}

int RunningApplications::instancesOf(const std::string& bundleIdentifier) const {
  if (!Folders::isVisibleName(bundleIdentifier)) return 0;
  const OwnedDescriptor folder =
      Folders::open(containerFolder_ + "/Applications/" + bundleIdentifier);
  if (!folder) return 0;
  const auto names = Folders::entries(folder);
  return static_cast<int>(std::count_if(names.begin(), names.end(), [&](const std::string& name) {
    return isRunningInstance(folder, name);
  }));
}

std::optional<RunningApplication> RunningApplications::applicationOf(
    pid_t processIdentifier) const {
  const OwnedDescriptor registry = Folders::open(containerFolder_ + "/Applications");
  if (!registry) return std::nullopt;
  for (const std::string& bundleIdentifier : Folders::entries(registry)) {
    const OwnedDescriptor folder = Folders::open(registry, bundleIdentifier);
    if (!folder) continue;
    for (const std::string& name : Folders::entries(folder)) {
      if (ProcessFileName::processOf(name) == processIdentifier &&
          isRunningInstance(folder, name)) {
        return RunningApplication{bundleIdentifier, std::nullopt};
      }
    }
  }
  return std::nullopt;
}

}  // namespace corvane::Platform
