#include "Platform/Container/ApplicationRegistry.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "Platform/File.h"
#include "Platform/Folders.h"
#include "Platform/Posix/NotificationName.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::ApplicationRegistry {
namespace {

constexpr mode_t folderMode = 0700;
constexpr char registryName[] = "Applications";

Result<OwnedDescriptor> makeFolder(const OwnedDescriptor& parent, const std::string& name) {
  if (systemCalls().mkdirat(parent.number(), name.c_str(), folderMode) != 0 && errno != EEXIST)
    return failureFromErrno("mkdir " + name);
  OwnedDescriptor folder = Folders::open(parent, name);
  if (!folder) return failureFromErrno("open " + name);
  return folder;
}

bool changeLock(const OwnedDescriptor& file, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return systemCalls().lockRecord(file.number(), F_OFD_SETLK, &lock) == 0;
}

}  // namespace

bool isIdentifier(const std::string& bundleIdentifier) {
  return Folders::isVisibleName(bundleIdentifier) &&
         isNotificationName(launchedName(bundleIdentifier));
}

std::string launchedName(const std::string& bundleIdentifier) {
  return bundleIdentifier + ".LAUNCHED";
}

OwnedDescriptor open(const std::string& containerFolder) {
  return Folders::open(containerFolder + "/" + registryName);
}

OwnedDescriptor open(const std::string& containerFolder, const std::string& bundleIdentifier) {
  if (!Folders::isVisibleName(bundleIdentifier)) return {};
  return Folders::open(containerFolder + "/" + registryName + "/" + bundleIdentifier);
}

std::array<std::string, 2> pathOf(const std::string& bundleIdentifier) {
  return {registryName, bundleIdentifier};
}

Result<OwnedDescriptor> make(const std::string& containerFolder,
                             const std::string& bundleIdentifier) {
  const OwnedDescriptor container = Folders::open(containerFolder);
  if (!container) return failureFromErrno("open " + containerFolder);
  const auto registry = makeFolder(container, registryName);
  if (!registry) return registry.failure();
  return makeFolder(registry.value(), bundleIdentifier);
}

OwnedDescriptor openFile(const OwnedDescriptor& folder, const std::string& name) {
  return OwnedDescriptor(systemCalls().openat(folder.number(), name.c_str(),
                                              O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
}

Lock lockOf(const OwnedDescriptor& file) {
  struct stat status = {};
  if (systemCalls().fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode))
    return Lock::unknown;
  if (status.st_nlink == 0) return Lock::free;
  struct flock lock = {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  if (systemCalls().lockRecord(file.number(), F_OFD_GETLK, &lock) != 0) return Lock::unknown;
  return lock.l_type == F_WRLCK ? Lock::held : Lock::free;
}

bool lock(const OwnedDescriptor& file) {
  return changeLock(file, F_WRLCK);
}

void unlock(const OwnedDescriptor& file) {
  changeLock(file, F_UNLCK);
}

}  // namespace corvane::Platform::ApplicationRegistry
