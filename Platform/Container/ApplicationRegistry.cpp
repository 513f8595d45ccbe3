#include "Platform/Container/ApplicationRegistry.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "Platform/Directories.h"
#include "Platform/File.h"
#include "Platform/Posix/NotificationName.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform::ApplicationRegistry {
namespace {

constexpr mode_t directoryMode = 0700;
constexpr char registryName[] = "Applications";

Result<OwnedDescriptor> makeDirectory(const OwnedDescriptor& parent, const std::string& name) {
  if (systemCalls().mkdirat(parent.number(), name.c_str(), directoryMode) != 0 && errno != EEXIST)
    return failureFromErrno("mkdir", name);
  return Directories::open(parent, name);
}

Result<Done> changeLock(const OwnedDescriptor& file, short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  while (systemCalls().lockRecord(file.number(), F_OFD_SETLK, &lock) != 0)
    if (errno != EINTR) return failureFromErrno("lock");
  return Done{};
}

}  // namespace

bool isIdentifier(const std::string& bundleIdentifier) {
  return Directories::isVisibleName(bundleIdentifier) &&
         isNotificationName(launchedName(bundleIdentifier));
}

std::string launchedName(const std::string& bundleIdentifier) {
  return bundleIdentifier + ".LAUNCHED";
}

Result<OwnedDescriptor> open(const std::string& containerDirectory) {
  return Directories::open(containerDirectory + "/" + registryName);
}

Result<OwnedDescriptor> open(const std::string& containerDirectory,
                             const std::string& bundleIdentifier) {
  if (!Directories::isVisibleName(bundleIdentifier))
    return Failure{FailureCause::notFound, "no bundle identifier: " + bundleIdentifier};
  return Directories::open(containerDirectory + "/" + registryName + "/" + bundleIdentifier);
}

std::array<std::string, 2> pathOf(const std::string& bundleIdentifier) {
  return {registryName, bundleIdentifier};
}

Result<OwnedDescriptor> make(const std::string& containerDirectory,
                             const std::string& bundleIdentifier) {
  const auto container = Directories::open(containerDirectory);
  if (!container) return container.failure();
  const auto registry = makeDirectory(container.value(), registryName);
  if (!registry) return registry.failure();
  return makeDirectory(registry.value(), bundleIdentifier);
}

Result<OwnedDescriptor> openFile(const OwnedDescriptor& directory, const std::string& name) {
  auto file = openAt(directory.number(), name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
  if (file || file.failure().cause == FailureCause::notFound) return file;
  // Links and sockets always fail to open; only for a regular file the failure means "unknown".
  struct stat status = {};
  if (systemCalls().fstatat(directory.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      !S_ISREG(status.st_mode))
    return Failure{FailureCause::notFound, name + " is not a regular file"};
  return file;
}

Result<Lock> lockOf(const OwnedDescriptor& file) {
  struct stat status = {};
  if (systemCalls().fstat(file.number(), &status) != 0) return failureFromErrno("fstat");
  if (!S_ISREG(status.st_mode)) return Lock::notRegularFile;
  if (status.st_nlink == 0) return Lock::free;
  struct flock lock = {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  if (systemCalls().lockRecord(file.number(), F_OFD_GETLK, &lock) != 0)
    return failureFromErrno("look at a lock");
  return lock.l_type == F_WRLCK ? Lock::held : Lock::free;
}

Result<Done> lock(const OwnedDescriptor& file) {
  return changeLock(file, F_WRLCK);
}

void unlock(const OwnedDescriptor& file) {
  (void)changeLock(file, F_UNLCK);
}

}  // namespace corvane::Platform::ApplicationRegistry
