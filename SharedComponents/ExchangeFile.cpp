#include "SharedComponents/ExchangeFile.h"

#include <utility>

namespace corvane {

using Platform::File;

ExchangeFile::ExchangeFile(const std::string& path, Platform::SystemCalls& calls)
    : state_(open(path, calls)) {}

ExchangeFile::~ExchangeFile() {
  if (locker_) locker_->unlock();
}

ExchangeFile::State ExchangeFile::open(const std::string& path, Platform::SystemCalls& calls) {
  // Not by the locker, as that makes a file that is missing.
  auto opened = File::open(path, File::Access::update, calls);
  if (!opened)
    return opened.failure().cause == FailureCause::notFound ? State::notOpened : State::notLocked;
  locker_.emplace(std::move(opened).value());
  if (!locker_->waitLock()) return State::notLocked;
  const auto status = file().status();
  if (!status || !status->isLinked) return State::notOpened;  // removed while it was waited for
  length_ = status->size;
  return State::ready;
}

}  // namespace corvane
