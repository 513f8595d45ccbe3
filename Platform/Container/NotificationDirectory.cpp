#include "Platform/Container/NotificationDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Directories.h"
#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

constexpr mode_t directoryMode = 0700;

/// How often to create a directory that other processes keep removing while it is empty. Each
/// process that starts or ends removes it at most once; after so many attempts in a row, it must be
/// the socket itself that is gone.
constexpr int linkAttempts = 100;

}  // namespace

Result<NotificationDirectory> NotificationDirectory::open(const std::string& containerDirectory) {
  const std::string path = containerDirectory + "/Notifications";
  if (systemCalls().mkdir(path.c_str(), directoryMode) != 0 && errno != EEXIST)
    return failureFromErrno("mkdir", path);
  auto directory = Directories::open(path);
  if (!directory) return directory.failure();
  return NotificationDirectory(std::move(directory).value());
}

Result<Done> NotificationDirectory::link(const std::string& socketName,
                                         const std::string& name) const {
  for (int attempt = 0; attempt < linkAttempts; ++attempt) {
    const auto target = Directories::open(directory_, name);
    if (target) {
      if (systemCalls().linkat(directory_.number(), hidden(socketName).c_str(), target->number(),
                               socketName.c_str(), 0) == 0 ||
          errno == EEXIST)
        return Done{};
      if (errno != ENOENT) return failureFromErrno("link into", name);
    } else if (target.failure().cause != FailureCause::notFound) {
      return target.failure();
    } else if (systemCalls().mkdirat(directory_.number(), name.c_str(), directoryMode) != 0) {
      if (errno != EEXIST) return failureFromErrno("mkdir", name);
      struct stat status = {};
      if (systemCalls().fstatat(directory_.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) ==
              0 &&
          !S_ISDIR(status.st_mode))
        return Failure{FailureCause::notPermitted, name + " is not a directory"};
    }
  }
  return Failure{FailureCause::notFound, "link into " + name + ": the socket is gone"};
}

void NotificationDirectory::unlink(const std::string& socketName, const std::string& name) const {
  systemCalls().unlinkat(directory_.number(), (name + "/" + socketName).c_str(), 0);
}

void NotificationDirectory::removeName(const std::string& name) const {
  systemCalls().unlinkat(directory_.number(), name.c_str(), AT_REMOVEDIR);
}

void NotificationDirectory::removeSocket(const std::string& socketName) const {
  systemCalls().unlinkat(directory_.number(), hidden(socketName).c_str(), 0);
}

}  // namespace corvane::Platform
