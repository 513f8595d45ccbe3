#include "Platform/GroupContainers.h"

#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Container/GroupContainerFolder.h"
#include "Platform/Container/HomeFolder.h"
#include "Platform/Folders.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

std::string pathBelow(const std::string& home, const std::string& identifier) {
  return home + "/.local/share/group-containers/" + identifier;
}

}  // namespace

std::optional<std::string> groupContainerBelow(const std::string& home,
                                               const std::string& identifier, uid_t owner) {
  if (!Folders::isVisibleName(identifier)) return std::nullopt;
  std::string path = pathBelow(home, identifier);
  struct stat status = {};
  if (systemCalls().stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
      status.st_uid != owner || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return std::nullopt;
  }
  return path;
}

std::optional<std::string> GroupContainers::folderOf(const std::string& identifier) {
  const uid_t user = ::geteuid();
  const std::optional<std::string> home = homeFolderOf(user);
  if (!home) return std::nullopt;
  return groupContainerBelow(*home, identifier, user);
}

std::optional<std::string> GroupContainers::placeOf(const std::string& identifier) {
  const std::optional<std::string> home = homeFolder();
  if (!home || !Folders::isVisibleName(identifier)) return std::nullopt;
  return pathBelow(*home, identifier);
}

std::optional<std::string> GroupContainers::homeFolder() {
  return homeFolderOf(::geteuid());
}

}  // namespace corvane::Platform
