#include "Platform/Container/NotificationCleaner.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <utility>

#include "Platform/Clocks.h"
#include "Platform/Container/NotificationSocket.h"
#include "Platform/Container/ProcessFileName.h"
#include "Platform/Posix/FileTimes.h"
#include "Platform/SystemCalls.h"

namespace corvane::Platform {
namespace {

/// Lets the first reply be sent before the cleaning starts.
constexpr std::chrono::milliseconds pauseBeforeStart{5};

/// A hidden socket that refuses may be one that is just being bound, even by a process that can't
/// be seen from here; not when it is older than this.
constexpr std::chrono::seconds longestBinding{10};

/// How long an empty directory is left for the next process that observes its name: to remove one
/// and make it again costs a disk milliseconds.
constexpr std::chrono::hours longestUnused{1};

bool isOlderThan(const OwnedDescriptor& folder, const std::string& entry,
                 std::chrono::seconds age) {
  struct stat status = {};
  return systemCalls().fstatat(folder.number(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         wallNow() - changeTime(status) > age;
}

void cleanHidden(const OwnedDescriptor& folder, const std::string& entry) {
  const auto process = ProcessFileName::processOf(std::string_view(entry).substr(1));
  if (process && ProcessFileName::isGone(*process) && isOlderThan(folder, entry, longestBinding) &&
      NotificationSocket::isDead(folder, entry)) {
    systemCalls().unlinkat(folder.number(), entry.c_str(), 0);
  }
}

}  // namespace

NotificationCleaner::NotificationCleaner(EventLoop& loop, const NotificationFolders& folders)
    : loop_(loop),
      folders_(folders),
      next_(loop.at(EventLoop::now() + pauseBeforeStart, [this] { step(); })) {}

/// Lists a piece of a directory, or looks at one entry. What can't be read is left to the next
/// process that observes.
void NotificationCleaner::step() {
  if (current_) {
    stepInName();
  } else if (!names_.empty()) {
    stepIntoNext();
  } else if (!list()) {
    folder_ = {};
    return;
  }
  next_ = loop_.at(EventLoop::now(), [this] { step(); });
}

/// Lists the next names; false at their end.
bool NotificationCleaner::list() {
  if (!folder_) {
    auto folder = Folders::open(folders_.folder(), ".");
    if (!folder) return false;
    folder_ = std::move(folder).value();
  }
  auto names = Folders::nextEntries(folder_);
  if (!names) return false;
  names_ = std::move(names).value();
  return !names_.empty();
}

void NotificationCleaner::stepIntoNext() {
  const std::string entry = std::move(names_.back());
  names_.pop_back();
  if (entry.front() == '.') return cleanHidden(folder_, entry);
  auto folder = Folders::open(folder_, entry);
  if (!folder) return;
  const bool isForgotten = isOlderThan(folder_, entry, longestUnused);
  current_.emplace(Name{entry, std::move(folder).value(), isForgotten});
}

void NotificationCleaner::stepInName() {
  auto& entries = current_->entries;
  if (entries.empty()) {
    auto next = Folders::nextEntries(current_->folder);
    if (next) entries = std::move(next).value();
    if (entries.empty()) {
      if (current_->removedAny || current_->isForgotten)  // fails unless it is empty
        systemCalls().unlinkat(folder_.number(), current_->name.c_str(), AT_REMOVEDIR);
      current_.reset();
    }
    return;
  }
  const std::string entry = std::move(entries.back());
  entries.pop_back();
  if (NotificationSocket::isDead(current_->folder, entry) &&
      systemCalls().unlinkat(current_->folder.number(), entry.c_str(), 0) == 0) {
    current_->removedAny = true;
  }
}

}  // namespace corvane::Platform
