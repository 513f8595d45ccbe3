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

/// Long enough that the first reply is sent before the cleaning starts.
constexpr std::chrono::milliseconds pauseBeforeStart{5};

/// A hidden socket that refuses connections may still be in the process of being bound, even by a
/// process in another namespace. One that is older than this is not.
constexpr std::chrono::seconds longestBinding{10};

/// How long an empty directory is kept for the next process that observes its name: removing and
/// creating it again would cost milliseconds on a disk.
constexpr std::chrono::hours longestUnused{1};

bool isOlderThan(const OwnedDescriptor& directory, const std::string& entry,
                 std::chrono::seconds age) {
  struct stat status = {};
  return systemCalls().fstatat(directory.number(), entry.c_str(), &status, AT_SYMLINK_NOFOLLOW) ==
             0 &&
         wallNow() - changeTime(status) > age;
}

void cleanHidden(const OwnedDescriptor& directory, const std::string& entry) {
  const auto process = ProcessFileName::processOf(std::string_view(entry).substr(1));
  if (process && ProcessFileName::isGone(*process) &&
      isOlderThan(directory, entry, longestBinding) &&
      NotificationSocket::isDead(directory, entry)) {
    systemCalls().unlinkat(directory.number(), entry.c_str(), 0);
  }
}

}  // namespace

NotificationCleaner::NotificationCleaner(EventLoop& loop,
                                         const NotificationDirectory& notifications)
    : loop_(loop),
      notifications_(notifications),
      next_(loop.at(EventLoop::now() + pauseBeforeStart, [this] { step(); })) {}

/// Lists a part of a directory or inspects one entry. What can't be read is left to the next
/// process that observes.
void NotificationCleaner::step() {
  if (current_) {
    stepInName();
  } else if (!names_.empty()) {
    stepIntoNext();
  } else if (!list()) {
    directory_ = {};
    return;
  }
  next_ = loop_.at(EventLoop::now(), [this] { step(); });
}

/// Lists the next names. Returns false at the end.
bool NotificationCleaner::list() {
  if (!directory_) {
    auto directory = Directories::open(notifications_.descriptor(), ".");
    if (!directory) return false;
    directory_ = std::move(directory).value();
  }
  auto names = Directories::nextEntries(directory_);
  if (!names) return false;
  names_ = std::move(names).value();
  return !names_.empty();
}

void NotificationCleaner::stepIntoNext() {
  const std::string entry = std::move(names_.back());
  names_.pop_back();
  if (entry.front() == '.') return cleanHidden(directory_, entry);
  auto directory = Directories::open(directory_, entry);
  if (!directory) return;
  const bool isForgotten = isOlderThan(directory_, entry, longestUnused);
  current_.emplace(Name{entry, std::move(directory).value(), isForgotten});
}

void NotificationCleaner::stepInName() {
  auto& entries = current_->entries;
  if (entries.empty()) {
    auto next = Directories::nextEntries(current_->directory);
    if (next) entries = std::move(next).value();
    if (entries.empty()) {
      if (current_->removedAny || current_->isForgotten)  // fails unless empty
        systemCalls().unlinkat(directory_.number(), current_->name.c_str(), AT_REMOVEDIR);
      current_.reset();
    }
    return;
  }
  const std::string entry = std::move(entries.back());
  entries.pop_back();
  if (NotificationSocket::isDead(current_->directory, entry) &&
      systemCalls().unlinkat(current_->directory.number(), entry.c_str(), 0) == 0) {
    current_->removedAny = true;
  }
}

}  // namespace corvane::Platform
