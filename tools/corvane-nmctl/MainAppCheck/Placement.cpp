#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <limits>

#include "Platform/Container/NotificationSocket.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Directories.h"
#include "Platform/GroupSettings.h"
#include "SharedComponents/Configuration.h"
#include "SharedComponents/GroupContainer.h"
#include "tools/corvane-nmctl/MainAppCheck/Bench.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/Output.h"

/// What lies in the container, and who may do what with it.
namespace corvane::Nmctl::MainAppCheck {
namespace {

/// Ends as `broken` unless `path` is of the kind `type` (S_IFDIR, S_IFREG), ours, and of mode
/// `mode`, or gone though it `mayGo`.
void requireOwn(const std::string& path, mode_t type, mode_t mode, bool mayGo = false) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (mayGo && errno == ENOENT) return;
    broken(path + " is not there");
  }
  if ((status.st_mode & S_IFMT) != type)
    broken(path + (type == S_IFDIR ? " is not a folder" : " is not a regular file"));
  if (status.st_uid != ::geteuid()) broken(path + " belongs to somebody else");
  if ((status.st_mode & permissions) != mode)
    broken(path + " has mode " + octal(status.st_mode & permissions));
}

void registration(Bench& bench) {
  const Registry found = registryIn(bench.container());
  if (!found.faults.empty()) broken(found.faults.front());
}

void folders(Bench& bench) {
  requireOwn(bench.container(), S_IFDIR, 0700);
  requireOwn(bench.dataFolder(), S_IFDIR, 0700);
  for (const char* name : {"/Notifications", "/Applications"}) {
    const std::string path = bench.container() + name;
    requireOwn(path, S_IFDIR, 0700);
    for (const std::string& entry : entriesOf(Platform::Directories::open(path)))
      if (entry.front() != '.')  // one of a host may come and go meanwhile
        requireOwn(std::string(path).append("/").append(entry), S_IFDIR, 0700, true);
  }
}

void requestFileIsThere(Bench& bench) {
  requireOwn(bench.requestFile(), S_IFREG, 0600);
}

void settings(Bench& bench) {
  const auto settings =
      Platform::GroupSettings::open(bench.container(), Configuration::AppGroupIdentifier);
  if (!settings) broken("no host can read the group settings: " + settings.failure().text);
  const std::int64_t level = settings->integer(GroupContainer::logLevelKey);
  if (level < 0 || level > std::numeric_limits<std::uint32_t>::max())
    broken("the log level is " + std::to_string(level));
}

/// The application's socket among the observers of what `word` stands for.
void observes(Bench& bench, const std::string& word) {
  const std::string name = Bench::notificationName(word);
  const auto& all = bench.notifications().descriptor();
  const auto opened = Platform::Directories::open(all, name);
  if (!opened) broken("nobody observes " + name);
  const auto& folder = opened.value();
  for (const std::string& entry : entriesOf(opened)) {
    if (Platform::ProcessFileName::processOf(entry) != bench.instance().process) continue;
    if (Platform::NotificationSocket::isDead(folder, entry)) continue;
    struct stat link = {};
    struct stat own = {};
    const std::string hidden = Platform::NotificationDirectory::hidden(entry);
    if (::fstatat(folder.number(), entry.c_str(), &link, AT_SYMLINK_NOFOLLOW) != 0) continue;
    if (::fstatat(all.number(), hidden.c_str(), &own, AT_SYMLINK_NOFOLLOW) != 0)
      broken("its link is there, but there is no Notifications/" + hidden);
    if (link.st_ino != own.st_ino) broken("it is no hard link to Notifications/" + hidden);
    return;
  }
  broken("no socket of process " + std::to_string(bench.instance().process) + " lies in " + name);
}

}  // namespace

Points placementPoints() {
  using Needs = Point::Needs;
  return {
      {"registration",
       "An application runs as long as it holds the lock on its file in Applications/APP/, named "
       "<process identifier>.<16 hexadecimal digits>, mode 0600; files that instances before left "
       "are removed.",
       Needs::nothing, registration},
      {"folders",
       "The container, Data/, Notifications/, Applications/ and the folders in them have mode 0700 "
       "and belong to the user.",
       Needs::nothing, folders},
      {"request-file",
       "The application makes Data/ExchangeRequestContainer.data, mode 0600, before it registers.",
       Needs::nothing, requestFileIsThere},
      {"settings",
       "The group settings are a binary property list with a dictionary on top, or no file; the "
       "log level in it is from 0 to 4,294,967,295.",
       Needs::nothing, settings},
      {"observes-exchange",
       "A socket Notifications/.S of the application, S beginning with its process identifier, is "
       "linked into the folder of PREFIXexchange.",
       Needs::nothing, [](Bench& bench) { observes(bench, "exchange"); }},
      {"observes-ready", "Likewise into the folder of PREFIXready.", Needs::nothing,
       [](Bench& bench) { observes(bench, "ready"); }},
  };
}

}  // namespace corvane::Nmctl::MainAppCheck
