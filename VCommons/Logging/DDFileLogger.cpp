#include "VCommons/Logging/DDFileLogger.h"

#include <string>
#include <thread>
#include <utility>

#include "VCommons/Logging/DDLogFileFormatterDefault.h"

namespace corvane {
namespace {

/// True as well if `time` is a little ahead: another host may have read the clock after this one.
bool isRecent(VCSDate::Date time, VCSDate::Date now) {
  return std::chrono::abs(now - time) <= DDFileLogger::sameRollPeriod;
}

bool isHeldByOther(const Failure& failure) {
  return failure.cause == FailureCause::wouldBlock;
}

}  // namespace

DDFileLogger::DDFileLogger(DDLogFileManager manager, Limits limits, DDLog::Clock clock)
    : manager_(std::move(manager)), limits_(limits), clock_(std::move(clock)) {}

DDFileLogger::Time DDFileLogger::now() const {
  return std::chrono::floor<std::chrono::milliseconds>(clock_());
}

void DDFileLogger::log(const DDLogMessage& message) {
  const Time time = now();
  followOthers();
  if (!current_ || current_->mustRoll || isTooOld(time)) roll(time);
  if (!current_) return;
  write(message);
  if (isTooLarge()) roll(time);
}

void DDFileLogger::rollLogFile() {
  const Time time = now();
  followOthers();
  const bool isRolledAlready =
      current_ && !current_->isOurs && isRecent(current_->info.created, time);
  if (!isRolledAlready) roll(time);
}

/// Switches to the newest file if there is no current one or if another host has created or
/// removed files.
void DDFileLogger::followOthers() {
  if (!manager_.mayHaveChanged() && current_) return;
  const auto listed = manager_.newestLogFile();
  if (!listed) {  // unknown: the current file, if any, stays
    manager_.forgetFolderState();
    return;
  }
  const auto& newest = listed.value();
  if (!newest) {
    current_.reset();
    return;
  }
  if (current_ && newest->created == current_->info.created) {
    const auto status = current_->file.status();
    if (!status || status->isLinked) return;
  }
  switchTo(*newest);
}

/// Makes an existing file the current one; if it can't be opened, there is no current file.
void DDFileLogger::switchTo(const DDLogFileInfo& info) {
  auto file = manager_.open(info);
  if (!file) {
    current_.reset();
    return;
  }
  current_ = Current{std::move(file).value(), info, false};
  current_->mustRoll = isTooLarge() || manager_.isArchived(info);
}

/// Switches to the newest file; returns whether there is a current file now. Fails if the directory
/// can't be listed.
Result<bool> DDFileLogger::switchToNewest() {
  const auto newest = manager_.newestLogFile();
  if (!newest) return newest.failure();
  if (newest.value()) switchTo(*newest.value());
  return current_.has_value();
}

void DDFileLogger::roll(Time now) {
  if (current_) {
    rollCurrent(now);
  } else {
    makeFirst(now);
  }
}

/// Rolls under the file's lock, so that one host rolls it. A latecomer adopts the other host's new
/// file, at once or with the next line. On a file system without locks two hosts may each create a
/// file; all use the newer one then.
void DDFileLogger::rollCurrent(Time now) {
  const auto locked = current_->file.tryLock();
  if (!locked && isHeldByOther(locked.failure())) return;
  const auto listed = manager_.newestLogFile();
  if (listed && listed.value() && listed.value()->created > current_->info.created) {
    switchTo(*listed.value());
    return;
  }
  if (listed) makeSuccessor(now);
  // If this fails, closing the file releases the lock.
  if (current_) static_cast<void>(current_->file.unlock());
}

/// Creates the first file, or adopts one that another host has created meanwhile. There is no file
/// to lock yet, so this locks the directory. A host holds that lock only while it creates a file;
/// the number of tries bounds the wait for a process that was stopped meanwhile.
void DDFileLogger::makeFirst(Time now) {
  constexpr int tries = 1000;
  if (!manager_.makeFolder()) return;
  auto lock = manager_.lockFolder();
  for (int i = 0; i < tries && !lock && isHeldByOther(lock.failure()); ++i) {
    const auto isOpen = switchToNewest();
    if (!isOpen || isOpen.value()) return;
    std::this_thread::yield();
    lock = manager_.lockFolder();
  }
  const auto isOpen = switchToNewest();
  if (isOpen && !isOpen.value()) makeSuccessor(now);
}

/// Creates a new file and makes it the current one; if that fails, the old one stays current.
void DDFileLogger::makeSuccessor(Time now) {
  auto made = manager_.create(now);
  if (!made) {
    if (made.failure().cause == FailureCause::alreadyExists) static_cast<void>(switchToNewest());
    return;
  }
  if (current_) manager_.markArchived(current_->info);
  current_ = Current{std::move(made->file), std::move(made->info), true};
  manager_.deleteOldLogFiles();
}

void DDFileLogger::write(const DDLogMessage& message) {
  std::string line = current_->endsInMidLine ? "\n" : "";
  line += DDLogFileFormatterDefault::lineOf(message);
  const auto written = current_->file.append(bytesOf(line));
  if (!written || written.value() == 0) return;
  current_->endsInMidLine = written.value() < line.size();
}

bool DDFileLogger::isTooOld(Time now) const {
  return now - current_->info.created >= limits_.rollingFrequency;
}

bool DDFileLogger::isTooLarge() const {
  const auto status = current_->file.status();
  return status && status->size >= limits_.maximumFileSize;
}

}  // namespace corvane
