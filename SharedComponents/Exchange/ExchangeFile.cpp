#include "SharedComponents/Exchange/ExchangeFile.h"

#include <utility>

#include "Base/FileUrl.h"
#include "Platform/SystemLog.h"

namespace corvane {

using Platform::File;
namespace SystemLog = Platform::SystemLog;

namespace {

/// Writes to the system log why a file can't be opened; the same reason in a row only once, because
/// a client polls for its reply. Null: a file was opened. Not thread-safe: all files are opened on
/// the loop's thread.
void logOpening(const Failure* failure) {
  static auto& last = *new std::string;
  std::string text = failure == nullptr ? "" : "no exchange: " + failure->description();
  if (failure != nullptr && text != last) SystemLog::write(SystemLog::Severity::error, text);
  last = std::move(text);
}

}  // namespace

ExchangeFile::ExchangeFile(std::string path) : path_(std::move(path)) {
  open();
}

ExchangeFile::~ExchangeFile() {
  close();
}

void ExchangeFile::open() {
  // The locker would create a missing file.
  auto opened = File::open(path_, File::Access::update);
  if (!opened) {
    const bool isMissing = opened.failure().cause == FailureCause::notFound;
    if (!isMissing) logOpening(&opened.failure());
    state_ = isMissing ? State::notOpened : State::notLocked;
    return;
  }
  logOpening(nullptr);
  locker_.emplace(path_, std::move(opened).value());
  if (locker_->lock()) {
    readStatus();
  } else {
    state_ = locker_->isContended() ? State::contended : State::notLocked;
  }
}

void ExchangeFile::waitForLock() {
  if (locker_->waitLock()) {
    readStatus();
  } else {
    state_ = State::notLocked;
  }
}

void ExchangeFile::readStatus() {
  const auto status = file().status();
  state_ = !status ? State::notOpened : status->isLinked ? State::ready : State::removed;
  if (status) length_ = status->size;
}

void ExchangeFile::close() {
  if (locker_) locker_->unlock();
  locker_.reset();
}

std::string ExchangeFile::url() const {
  return fileUrl(path_);
}

}  // namespace corvane
