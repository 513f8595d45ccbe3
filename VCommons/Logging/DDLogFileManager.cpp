#include "VCommons/Logging/DDLogFileManager.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Platform/Directories.h"
#include "Platform/FileAttributes.h"

namespace corvane {
namespace {

constexpr std::string_view datePattern = "yyyy-MM-dd--HH-mm-ss-SSS";
constexpr std::string_view nameSuffix = ".log";
constexpr const char* archivedMark = "lumberjack.log.archived";

/// File systems stamp changes with the time of the last clock tick, at most this long ago.
constexpr std::chrono::milliseconds stampGranularity(20);

/// The names in the directory `path`; none if it is missing or a symbolic link, because the files
/// there may belong to another program.
Result<std::vector<std::string>> namesIn(const std::string& path) {
  const auto folder = Platform::Directories::open(path);
  if (folder) return Platform::Directories::entries(folder.value());
  if (folder.failure().cause == FailureCause::notFound) return std::vector<std::string>();
  return folder.failure();
}

}  // namespace

DDLogFileManager::DDLogFileManager(std::string folder, std::string applicationName,
                                   std::size_t maximumNumberOfLogFiles)
    : folder_(std::move(folder)),
      namePrefix_(std::move(applicationName) + " "),
      maximumNumberOfLogFiles_(maximumNumberOfLogFiles) {}

Result<std::vector<DDLogFileInfo>> DDLogFileManager::sortedLogFiles() const {
  std::vector<DDLogFileInfo> files;
  auto names = namesIn(folder_);
  if (!names) return names.failure();
  for (std::string& name : names.value()) {
    if (!name.starts_with(namePrefix_) || !name.ends_with(nameSuffix)) continue;
    std::string_view date = name;
    date.remove_prefix(namePrefix_.size());
    if (date.size() != datePattern.size() + nameSuffix.size()) continue;
    const auto created = VCSDate::parsed(date.substr(0, datePattern.size()), datePattern);
    if (created) files.push_back({std::move(name), *created});
  }
  std::sort(files.begin(), files.end(),
            [](const auto& left, const auto& right) { return left.created > right.created; });
  return files;
}

Result<std::optional<DDLogFileInfo>> DDLogFileManager::newestLogFile() const {
  auto files = sortedLogFiles();
  if (!files) return files.failure();
  if (files.value().empty()) return std::optional<DDLogFileInfo>();
  return std::optional(std::move(files.value().front()));
}

bool DDLogFileManager::mayHaveChanged() {
  const auto now = std::chrono::system_clock::now();
  const auto before = std::exchange(lastState_, std::nullopt);
  const auto status = Platform::statusOf(folder_);
  if (!status) return true;
  const FolderState state = {status->device, status->inode, status->changed};
  if (now - state.changed > stampGranularity) lastState_ = state;
  return before != state;
}

bool DDLogFileManager::makeFolder() {
  const std::size_t slash = folder_.find_last_of('/');
  if (slash == std::string::npos) return false;
  return static_cast<bool>(
      Platform::makeDirectories(folder_.substr(0, slash), folder_.substr(slash + 1)));
}

Result<Platform::File> DDLogFileManager::lockFolder() const {
  auto folder = Platform::File::open(folder_, Platform::File::Access::read);
  if (!folder) return folder;
  const auto locked = folder->tryLock();
  if (!locked) return locked.failure();
  return folder;
}

Result<Platform::File> DDLogFileManager::open(const DDLogFileInfo& info) const {
  return Platform::File::open(pathOf(info), Platform::File::Access::append);
}

Result<DDLogFileManager::NewFile> DDLogFileManager::create(VCSDate::Date now) const {
  const auto listed = newestLogFile();
  if (!listed) return listed.failure();
  const auto& newest = listed.value();
  const auto created = newest ? std::max(now, newest->created + std::chrono::milliseconds(1)) : now;
  DDLogFileInfo info = {namePrefix_ + VCSDate::formatted(created, datePattern), created};
  info.name += nameSuffix;
  auto file = Platform::File::open(pathOf(info), Platform::File::Access::makeAppend);
  if (!file) return file.failure();
  return NewFile{std::move(file).value(), std::move(info)};
}

void DDLogFileManager::markArchived(const DDLogFileInfo& info) const {
  // Without the mark the next start checks the file's age and size instead.
  static_cast<void>(Platform::FileAttributes::mark(pathOf(info), archivedMark));
}

bool DDLogFileManager::isArchived(const DDLogFileInfo& info) const {
  const auto marked = Platform::FileAttributes::isMarked(pathOf(info), archivedMark);
  return marked && marked.value();
}

void DDLogFileManager::deleteOldLogFiles() const {
  if (maximumNumberOfLogFiles_ == 0) return;
  const auto files = sortedLogFiles();
  if (!files) return;
  for (std::size_t i = maximumNumberOfLogFiles_; i < files.value().size(); ++i) {
    // Fails if another host has removed the file first.
    [[maybe_unused]] const auto removed = Platform::removeFile(pathOf(files.value()[i]));
  }
}

}  // namespace corvane
