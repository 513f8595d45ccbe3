#include "VCommons/Logging/DDFileLogger.h"

#include <string>
#include <thread>
#include <utility>

#include "VCommons/Logging/DDLogFileFormatterDefault.h"

namespace corvane {
namespace {

/// Also when `time` is a little ahead: another host may have looked at the clock after us.
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

/// Goes to the newest file when there is no current one, or when others have made or removed files.
void DDFileLogger::followOthers() {
  if (!manager_.mayHaveChanged() && current_) return;
  const auto listed = manager_.newestLogFile();
  if (!listed) {  // unknown: the current file, if any, stays
    manager_.forgetLook();
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
  take(*newest);
}

/// Makes an existing file the current one; when that fails there is none.
void DDFileLogger::take(const DDLogFileInfo& info) {
  auto file = manager_.open(info);
  if (!file) {
    current_.reset();
    return;
  }
  current_ = Current{std::move(file).value(), info, false};
  current_->mustRoll = isTooLarge() || manager_.isArchived(info);
}

/// True when there is a current file then. Fails when it is unknown which is the newest.
Result<bool> DDFileLogger::takeNewest() {
  const auto newest = manager_.newestLogFile();
  if (!newest) return newest.failure();
  if (newest.value()) take(*newest.value());
  return current_.has_value();
}

void DDFileLogger::roll(Time now) {
  if (current_) {
    rollCurrent(now);
  } else {
    makeFirst(now);
  }
}

/// One host at a time rolls a file: who comes too late takes what the other made, at once or with
/// the next line. Where the file system knows no locks, two may make a file each; the newer one is
/// used then.
void DDFileLogger::rollCurrent(Time now) {
  const auto locked = current_->file.tryLock();
  if (!locked && isHeldByOther(locked.failure())) return;
  const auto listed = manager_.newestLogFile();
  if (listed && listed.value() && listed.value()->created > current_->info.created) {
    take(*listed.value());
    return;
  }
  if (listed) makeSuccessor(now);
  // Should that fail, the lock goes with the file.
  if (current_) static_cast<void>(current_->file.unlock());
}

/// Without a file that could be locked it is the folder. Nobody holds that for longer than it takes
/// to make a file, so the number of tries only bounds what a stopped process can do.
void DDFileLogger::makeFirst(Time now) {
  constexpr int tries = 1000;
  if (!manager_.makeFolder()) return;
  auto lock = manager_.lockFolder();
  for (int i = 0; i < tries && !lock && isHeldByOther(lock.failure()); ++i) {
    const auto taken = takeNewest();
    if (!taken || taken.value()) return;
    std::this_thread::yield();
    lock = manager_.lockFolder();
  }
  const auto taken = takeNewest();
  if (taken && !taken.value()) makeSuccessor(now);
}

/// Makes a new file and makes it the current one; when that fails the old one is kept.
void DDFileLogger::makeSuccessor(Time now) {
  auto made = manager_.create(now);
  if (!made) {
    if (made.failure().cause == FailureCause::alreadyExists) static_cast<void>(takeNewest());
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
