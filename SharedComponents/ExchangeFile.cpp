#include "SharedComponents/ExchangeFile.h"

#include <mutex>
#include <utility>

#include "Base/FileUrl.h"
#include "Platform/SystemLog.h"

namespace corvane {

using Platform::File;
namespace SystemLog = Platform::SystemLog;

namespace {

/// Says why files can't be opened: once for the same reason in a row, as a reply is looked for a
/// hundred times. Null: one was opened.
void say(const Failure* failure) {
  static std::mutex mutex;  // guards the text
  static auto& last = *new std::string;
  const std::lock_guard lock(mutex);
  std::string text = failure == nullptr ? "" : "no exchange: " + failure->description();
  if (failure != nullptr && text != last) SystemLog::write(SystemLog::Severity::error, text);
  last = std::move(text);
}

}  // namespace

ExchangeFile::ExchangeFile(std::string path, Platform::SystemCalls& calls)
    : path_(std::move(path)), state_(open(calls)) {}

ExchangeFile::~ExchangeFile() {
  if (locker_) locker_->unlock();
}

ExchangeFile::State ExchangeFile::open(Platform::SystemCalls& calls) {
  // Not by the locker, as that makes a file that is missing.
  auto opened = File::open(path_, File::Access::update, calls);
  if (!opened) {
    if (opened.failure().cause == FailureCause::notFound) return State::notOpened;
    say(&opened.failure());
    return State::notLocked;
  }
  say(nullptr);
  locker_.emplace(path_, std::move(opened).value());
  if (!locker_->waitLock()) return State::notLocked;
  const auto status = file().status();
  if (!status || !status->isLinked) return State::notOpened;  // removed while it was waited for
  length_ = status->size;
  return State::ready;
}

std::string ExchangeFile::url() const {
  return fileUrl(path_);
}

}  // namespace corvane
