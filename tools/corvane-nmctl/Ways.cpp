#include "tools/corvane-nmctl/Ways.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/Output.h"
#include "tools/corvane-nmctl/Storage.h"

namespace corvane::Nmctl {
namespace {

namespace fs = std::filesystem;

struct Demand {
  fs::path below;    ///< from the container
  int rights;        ///< to the last folder, or to the one in which the next is to be made
  bool followsLink;  ///< whether one may be a link
};

Demand demandOf(Way way) {
  constexpr int all = R_OK | W_OK | X_OK;
  const fs::path application = Configuration::MainAppBundleIdentifier;
  switch (way) {
    case Way::data:
      return {"Data", all, false};
    case Way::applications:
      return {"Applications" / application, all, false};
    case Way::notifications:
      return {"Notifications", all, false};
    case Way::settings:
      return {"Library/Preferences", X_OK, true};
    case Way::logs:
      return {"Logs" / application / "corvane-nm", W_OK | X_OK, false};
    case Way::logFolders:
      return {"Logs" / application / "corvane-nm", F_OK, false};
  }
  return {};
}

/// The fix where rights are missing: the owner's, or that of who may change the owner.
std::string permitting(const struct stat& status, const char* mode, const std::string& path) {
  if (status.st_uid == ::geteuid())
    return std::string("run: chmod ") + mode + " " + shellWord(path);
  return "as root: chown -R " + std::to_string(::geteuid()) + " " + shellWord(path);
}

std::optional<Fault> folderFault(const std::string& path, int rights, bool followsLink) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) return std::nullopt;
  if (S_ISLNK(status.st_mode)) {
    if (!followsLink)
      return Fault{Code("folder-is-link"), path + " is a symbolic link, which is not followed",
                   "put the folder itself in its place"};
    if (::stat(path.c_str(), &status) != 0)
      return Fault{Code("folder-dangling-link"), path + " is a symbolic link that leads nowhere",
                   "remove it and start the main application again"};
  }
  if (!S_ISDIR(status.st_mode))
    return Fault{Code("not-a-folder"), path + " is not a folder",
                 "move it away and start the main application again"};
  if (::access(path.c_str(), rights) == 0) return std::nullopt;
  if (errno == EROFS) return storageFault(path);
  const bool isReadable = ::access(path.c_str(), rights & ~W_OK) == 0;
  const std::string fix = permitting(status, "700", path);
  if (isReadable)
    return Fault{Code("folder-not-writable"), "not permitted to write to " + path, fix};
  return Fault{Code("folder-not-permitted"), "not permitted to look into " + path, fix};
}

}  // namespace

std::optional<Fault> faultOf(Way way, const std::string& container) {
  const Demand demand = demandOf(way);
  fs::path path = container;
  for (auto name = demand.below.begin(); name != demand.below.end();) {
    path /= *name++;
    struct stat status = {};
    const bool hasNext =
        name != demand.below.end() && ::lstat((path / *name).c_str(), &status) == 0;
    const int rights = hasNext ? demand.rights & ~W_OK : demand.rights;
    if (auto fault = folderFault(path, rights, demand.followsLink)) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> fileFault(const std::string& path, int rights) {
  const std::string fix = "move " + shellWord(path) + " away and start the main application again";
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) return std::nullopt;
  if (S_ISLNK(status.st_mode))
    return Fault{Code("file-is-link"), path + " is a symbolic link, which is not followed", fix};
  if (!S_ISREG(status.st_mode)) return Fault{Code("not-a-file"), path + " is not a file", fix};
  if (::access(path.c_str(), rights) == 0) return std::nullopt;
  return Fault{Code("file-not-permitted"), "not permitted to use " + path,
               permitting(status, "600", path)};
}

}  // namespace corvane::Nmctl
