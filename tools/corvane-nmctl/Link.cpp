#include "tools/corvane-nmctl/Link.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <thread>

#include "Platform/Container/GroupContainerLocation.h"
#include "Platform/Container/ProcessTable.h"
#include "Platform/EventLoop.h"
#include "Platform/File.h"
#include "Platform/NotificationCenter.h"
#include "Platform/ProcessInfo.h"
#include "Platform/RunningApplications.h"
#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/Output.h"
#include "tools/corvane-nmctl/Storage.h"

namespace corvane::Nmctl {

const char* const requestFileName = "ExchangeRequestContainer.data";

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Platform::File;

const std::string replyPrefix = "ExchangeResponseContainer.";
const std::string fileSuffix = ".data";
constexpr std::uint64_t largestFile = 64'000'000;  // more than any may be

Fault absentContainer(const std::string& path) {
  return {Code("shared-folder-missing"), "there is no shared folder " + path,
          "start the main application once: it makes it"};
}

std::optional<Fault> containerFault(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) {
    const Failure why = Platform::failureFromErrno("stat", path);
    if (why.cause == FailureCause::notPermitted)
      return Fault{Code("shared-folder-not-permitted"),
                   "not permitted to look at the shared folder " + path,
                   "let this user enter the folders above it"};
    if (why.cause != FailureCause::notFound)
      return Fault{Code("shared-folder-unreadable"),
                   "the shared folder can't be looked at: " + why.text,
                   "try again; the administrator may know why"};
    if (::lstat(path.c_str(), &status) == 0)
      return Fault{Code("shared-folder-dangling-link"),
                   "the shared folder is a symbolic link that leads nowhere: " + path,
                   "remove the link and start the main application"};
    return absentContainer(path);
  }
  struct stat own = {};
  if (::lstat(path.c_str(), &own) == 0 && S_ISLNK(own.st_mode))
    return Fault{
        Code("shared-folder-is-link"),
        "the shared folder is a symbolic link, which the main application does not take: " + path,
        "put the folder itself in its place"};
  if (!S_ISDIR(status.st_mode))
    return Fault{Code("shared-folder-not-a-folder"), path + " is not a folder",
                 "move it away and start the main application"};
  if (status.st_uid != ::geteuid())
    return Fault{Code("shared-folder-foreign"),
                 "the shared folder belongs to another user: " + path,
                 "as root: chown -R " + std::to_string(::geteuid()) + " " + shellWord(path)};
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    return Fault{Code("shared-folder-open"), "others may write to the shared folder " + path,
                 "run: chmod 700 " + shellWord(path)};
  if (::access(path.c_str(), R_OK | W_OK | X_OK) != 0) {
    if (errno == EROFS) return storageFault(path);
    return Fault{Code("shared-folder-not-writable"),
                 "not permitted to write to the shared folder " + path,
                 "run: chmod 700 " + shellWord(path)};
  }
  return std::nullopt;
}

std::string replyFileName(const std::string& host) {
  std::string name = replyPrefix;
  name.append(host).append(fileSuffix);
  return name;
}

bool waitForLock(File& file, std::chrono::milliseconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!file.tryLock()) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(20ms);
  }
  return true;
}

/// Goes from record to record, from the end to the start: behind each stands its length.
void countRecords(const File& file, ExchangeFileFacts& facts) {
  constexpr std::uint64_t lengthBytes = 4;
  std::size_t count = 0;
  for (std::uint64_t left = facts.size; left > 0; ++count) {
    std::array<std::byte, lengthBytes> bytes{};
    if (left <= lengthBytes || !file.readAt(bytes, left - lengthBytes)) {
      facts.isDamaged = true;
      return;
    }
    std::uint64_t length = 0;
    for (std::size_t i = bytes.size(); i-- > 0;)
      length = length << 8 | std::to_integer<std::uint64_t>(bytes[i]);
    if (length == 0 || length > left - lengthBytes) {
      facts.isDamaged = true;
      return;
    }
    left -= lengthBytes + length;
  }
  facts.records = count;
}

ExchangeFileFacts factsOf(const fs::path& path, std::chrono::milliseconds patience) {
  ExchangeFileFacts facts;
  facts.name = path.filename();
  auto file = File::open(path, File::Access::read);
  if (!file) {
    facts.problem = file.failure().text;
    return facts;
  }
  facts.isLocked = !waitForLock(file.value(), patience);
  if (facts.isLocked)
    if (auto holders = Platform::ProcessTable::lockHoldersOf(path))
      facts.lockHolders = std::move(holders).value();
  const auto status = file->status();
  if (!status) {
    facts.problem = status.failure().text;
    return facts;
  }
  facts.size = status->size;
  if (!facts.isLocked && facts.size <= largestFile) countRecords(file.value(), facts);
  return facts;
}

}  // namespace

Container findContainer() {
  const auto place = Platform::GroupContainers::locationOf(Configuration::AppGroupIdentifier);
  if (place) return {place.value(), containerFault(place.value())};
  const Failure& why = place.failure();
  if (why.cause == FailureCause::notFound)
    return {"", Fault{Code("user-without-home"), why.text,
                      "have the administrator give this user a home folder"}};
  return {"", Fault{Code("user-database-unreadable"), why.text,
                    "try again; the administrator may know why"}};
}

std::vector<ExchangeFileFacts> exchangeFilesIn(const std::string& container,
                                               std::chrono::milliseconds patience) {
  std::vector<fs::path> paths;
  std::error_code failed;
  for (const auto& entry : fs::directory_iterator(container + "/Data", failed)) {
    const std::string name = entry.path().filename();
    if (name.starts_with("Exchange") && name.ends_with(fileSuffix)) paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());  // "Request" comes before "Response"
  std::vector<ExchangeFileFacts> result;
  result.reserve(paths.size());
  for (const fs::path& path : paths) result.push_back(factsOf(path, patience));
  return result;
}

LinkEnds linkEndsAmong(const std::vector<Platform::NotificationObserver>& observers) {
  const std::string request =
      std::string(Configuration::MainAppBundleIdentifier) + ".DARWIN_NOTIFICATION.exchange";
  LinkEnds ends;
  for (const auto& observer : observers) {
    if (observer.name == request && !observer.isGone) ends.application = observer.process;
    if (observer.name.starts_with(request + "."))
      ends.hosts[replyFileName(observer.name.substr(request.size() + 1))] = observer;
  }
  return ends;
}

LinkEnds linkEndsIn(const std::string& container) {
  const auto observers = Platform::notificationObservers(container);
  return observers ? linkEndsAmong(observers.value()) : LinkEnds();
}

bool isLeftReply(const std::string& name, const LinkEnds& ends) {
  const auto host = ends.hosts.find(name);
  return name.starts_with(replyPrefix) && (host == ends.hosts.end() || host->second.isGone);
}

Result<int> runningInstances(const std::string& container) {
  Platform::EventLoop loop;  // only to be asked: it never turns
  Platform::NotificationCenter unused(loop, container);
  const Platform::RunningApplications applications(loop, container, unused);
  return applications.instancesOf(Configuration::MainAppBundleIdentifier);
}

std::string describedProcess(pid_t process) {
  std::string text = "process " + std::to_string(process);
  if (const auto path = Platform::ProcessInfo::executablePath(process))
    text += " (" + path->substr(path->rfind('/') + 1) + ")";
  return text;
}

std::string logFolderIn(const std::string& container) {
  return container + "/Logs/" + Configuration::MainAppBundleIdentifier + "/corvane-nm";
}

}  // namespace corvane::Nmctl
