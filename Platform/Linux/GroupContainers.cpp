#include "Platform/GroupContainers.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "Platform/Linux/Folders.h"
#include "Platform/Linux/GroupContainerFolder.h"

namespace corvane::Platform {
namespace {

/// The home folder of `user` as the user database has it. Never $HOME: sandboxes change the
/// environment of what a browser starts, and the main application must be met all the same.
std::optional<std::string> homeOf(uid_t user) {
  constexpr std::size_t longestRecord = std::size_t{1} << 20;
  std::vector<char> buffer(1024);
  passwd record = {};
  passwd* found = nullptr;
  int error = ::getpwuid_r(user, &record, buffer.data(), buffer.size(), &found);
  while (error == EINTR || (error == ERANGE && buffer.size() < longestRecord)) {
    if (error == ERANGE) buffer.resize(2 * buffer.size());
    error = ::getpwuid_r(user, &record, buffer.data(), buffer.size(), &found);
  }
  if (error != 0 || found == nullptr || record.pw_dir == nullptr || record.pw_dir[0] != '/') {
    return std::nullopt;
  }
  return record.pw_dir;
}

}  // namespace

std::optional<std::string> groupContainerBelow(const std::string& home,
                                               const std::string& identifier, uid_t owner) {
  if (!Folders::isVisibleName(identifier)) return std::nullopt;
  std::string path = home + "/.local/share/group-containers/" + identifier;
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) || status.st_uid != owner ||
      (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return std::nullopt;
  }
  return path;
}

std::optional<std::string> GroupContainers::folderOf(const std::string& identifier) {
  const uid_t user = ::geteuid();
  const std::optional<std::string> home = homeOf(user);
  if (!home) return std::nullopt;
  return groupContainerBelow(*home, identifier, user);
}

}  // namespace corvane::Platform
