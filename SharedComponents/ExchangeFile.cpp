#include "SharedComponents/ExchangeFile.h"

#include <utility>

#include "Base/FileUrl.h"
#include "Platform/SystemLog.h"

namespace corvane {

using Platform::File;
namespace SystemLog = Platform::SystemLog;

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
    SystemLog::write(SystemLog::Severity::error, "no exchange: " + opened.failure().description());
    return State::notLocked;
  }
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
