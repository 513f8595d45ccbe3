#include "Platform/Linux/NotificationFolders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "Platform/File.h"
#include "Platform/Linux/Folders.h"
#include "Platform/Linux/NotificationSocket.h"
#include "Platform/Linux/ProcessFileName.h"
#include "Platform/Posix/FileTimes.h"

namespace corvane::Platform {
namespace {

constexpr mode_t folderMode = 0700;

/// A hidden socket that refuses may be one that is just being bound, even by a process that can't
/// be seen from here; not when it is older than this.
constexpr std::chrono::seconds longestBinding{10};

/// How long an empty folder is left for the next who observes its name: to remove one and make it
/// again costs a disk milliseconds.
constexpr std::chrono::hours longestUnused{1};

/// How often a folder is made that others remove while it is empty. Each process that starts or
/// ends removes it once at most; this many in a row means that the socket itself is gone.
constexpr int linkAttempts = 1000;

bool isOld(const OwnedDescriptor& folder, const std::string& entry) {
  struct stat status = {};
  return ::fstatat(folder.number(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         std::chrono::system_clock::now() - changeTime(status) > longestBinding;
}

void cleanHidden(const OwnedDescriptor& folder, const std::string& entry) {
  const auto process = ProcessFileName::processOf(std::string_view(entry).substr(1));
  if (process && ProcessFileName::isGone(*process) && isOld(folder, entry) &&
      NotificationSocket::isDead(folder, entry)) {
    ::unlinkat(folder.number(), entry.c_str(), 0);
  }
}

/// Removes dead sockets; true when there were any.
bool cleanName(const OwnedDescriptor& folder) {
  bool removed = false;
  for (const std::string& entry : Folders::entries(folder)) {
    if (NotificationSocket::isDead(folder, entry))
      removed = ::unlinkat(folder.number(), entry.c_str(), 0) == 0 || removed;
  }
  return removed;
}

bool isForgotten(const OwnedDescriptor& folder) {
  struct stat status = {};
  return ::fstat(folder.number(), &status) == 0 &&
         std::chrono::system_clock::now() - changeTime(status) > longestUnused;
}

}  // namespace

Result<NotificationFolders> NotificationFolders::open(const std::string& containerFolder) {
  const std::string path = containerFolder + "/Notifications";
  if (::mkdir(path.c_str(), folderMode) != 0 && errno != EEXIST)
    return failureFromErrno("mkdir " + path);
  OwnedDescriptor folder = Folders::open(path);
  if (!folder) return failureFromErrno("open " + path);
  return NotificationFolders(std::move(folder));
}

Result<Done> NotificationFolders::link(const std::string& socketName,
                                       const std::string& name) const {
  for (int attempt = 0; attempt < linkAttempts; ++attempt) {
    const OwnedDescriptor target = Folders::open(folder_, name);
    if (target && (::linkat(folder_.number(), hidden(socketName).c_str(), target.number(),
                            socketName.c_str(), 0) == 0 ||
                   errno == EEXIST)) {
      return Done{};
    }
    if (errno != ENOENT) break;
    if (::mkdirat(folder_.number(), name.c_str(), folderMode) != 0 && errno != EEXIST) break;
  }
  return failureFromErrno("link into " + name);
}

void NotificationFolders::unlink(const std::string& socketName, const std::string& name) const {
  ::unlinkat(folder_.number(), (name + "/" + socketName).c_str(), 0);
}

void NotificationFolders::removeName(const std::string& name) const {
  ::unlinkat(folder_.number(), name.c_str(), AT_REMOVEDIR);
}

void NotificationFolders::removeSocket(const std::string& socketName) const {
  ::unlinkat(folder_.number(), hidden(socketName).c_str(), 0);
}

void NotificationFolders::clean() const {
  for (const std::string& entry : Folders::entries(folder_)) {
    if (entry.front() == '.') {
      cleanHidden(folder_, entry);
      continue;
    }
    const OwnedDescriptor name = Folders::open(folder_, entry);
    if (name && (cleanName(name) || isForgotten(name)))
      ::unlinkat(folder_.number(), entry.c_str(), AT_REMOVEDIR);
  }
}

}  // namespace corvane::Platform
