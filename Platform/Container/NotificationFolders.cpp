#include "Platform/Container/NotificationFolders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/File.h"
#include "Platform/Folders.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

constexpr mode_t folderMode = 0700;

/// How often a folder is made that others remove while it is empty. Each process that starts or
/// ends removes it once at most; this many in a row means that the socket itself is gone.
constexpr int linkAttempts = 100;

}  // namespace

Result<NotificationFolders> NotificationFolders::open(const std::string& containerFolder) {
  const std::string path = containerFolder + "/Notifications";
  if (systemCalls().mkdir(path.c_str(), folderMode) != 0 && errno != EEXIST)
    return failureFromErrno("mkdir", path);
  auto folder = Folders::open(path);
  if (!folder) return folder.failure();
  return NotificationFolders(std::move(folder).value());
}

Result<Done> NotificationFolders::link(const std::string& socketName,
                                       const std::string& name) const {
  for (int attempt = 0; attempt < linkAttempts; ++attempt) {
    const auto target = Folders::open(folder_, name);
    if (target) {
      if (systemCalls().linkat(folder_.number(), hidden(socketName).c_str(), target->number(),
                               socketName.c_str(), 0) == 0 ||
          errno == EEXIST)
        return Done{};
      if (errno != ENOENT) return failureFromErrno("link into", name);
    } else if (target.failure().cause != FailureCause::notFound) {
      return target.failure();
    } else if (systemCalls().mkdirat(folder_.number(), name.c_str(), folderMode) != 0) {
      if (errno != EEXIST) return failureFromErrno("mkdir", name);
      struct stat status = {};
      if (systemCalls().fstatat(folder_.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) ==
              0 &&
          !S_ISDIR(status.st_mode))
        return Failure{FailureCause::notPermitted, name + " is not a directory"};
    }
  }
  return Failure{FailureCause::notFound, "link into " + name + ": the socket is gone"};
}

void NotificationFolders::unlink(const std::string& socketName, const std::string& name) const {
  systemCalls().unlinkat(folder_.number(), (name + "/" + socketName).c_str(), 0);
}

void NotificationFolders::removeName(const std::string& name) const {
  systemCalls().unlinkat(folder_.number(), name.c_str(), AT_REMOVEDIR);
}

void NotificationFolders::removeSocket(const std::string& socketName) const {
  systemCalls().unlinkat(folder_.number(), hidden(socketName).c_str(), 0);
}

}  // namespace corvane::Platform
