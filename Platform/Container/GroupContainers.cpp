#include "Platform/GroupContainers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Container/GroupContainerLocation.h"
#include "Platform/Container/HomeDirectory.h"
#include "Platform/Directories.h"
#include "Platform/File.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

Result<std::string> pathBelow(const std::string& home, const std::string& identifier) {
  if (!Directories::isVisibleName(identifier))
    return Failure{FailureCause::malformed, "not a name for a group: " + identifier};
  return home + "/.local/share/group-containers/" + identifier;
}

Result<struct stat> lookAt(const std::string& path) {
  struct stat status = {};
  int result = 0;
  do {
    result = systemCalls().stat(path.c_str(), &status);
  } while (result != 0 && errno == EINTR);
  if (result == 0) return status;
  if (errno == ENOENT) return Failure{FailureCause::notFound, path + " is missing"};
  return failureFromErrno("stat", path);
}

}  // namespace

Result<std::string> groupContainerBelow(const std::string& home, const std::string& identifier,
                                        uid_t owner) {
  auto path = pathBelow(home, identifier);
  if (!path) return path;
  const auto status = lookAt(path.value());
  if (!status) return status.failure();
  if (!S_ISDIR(status.value().st_mode))
    return Failure{FailureCause::other, path.value() + " is not a directory"};
  if (status.value().st_uid != owner)
    return Failure{FailureCause::notPermitted, path.value() + " belongs to another user"};
  if ((status.value().st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return Failure{FailureCause::notPermitted, "other users may write to " + path.value()};
  return path;
}

Result<std::string> GroupContainers::directoryOf(const std::string& identifier) {
  const uid_t user = ::geteuid();
  const auto home = homeDirectoryOf(user);
  if (!home) return home.failure();
  return groupContainerBelow(home.value(), identifier, user);
}

Result<std::string> GroupContainers::locationOf(const std::string& identifier) {
  const auto home = homeDirectory();
  if (!home) return home.failure();
  return pathBelow(home.value(), identifier);
}

Result<std::string> GroupContainers::homeDirectory() {
  return homeDirectoryOf(::geteuid());
}

}  // namespace corvane::Platform
