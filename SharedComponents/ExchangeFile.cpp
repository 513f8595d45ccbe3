#include "SharedComponents/ExchangeFile.h"

#include <utility>

namespace corvane {

using Platform::File;

ExchangeFile::ExchangeFile(const std::string& path, Platform::SystemCalls& calls)
    : locker_(path, calls), calls_(calls), state_(open()) {}

ExchangeFile::~ExchangeFile() {
  locker_.unlock();
}

ExchangeFile::State ExchangeFile::open() {
  // Before the lock, as the locker makes a file that is missing.
  auto opened = File::open(locker_.path(), File::Access::update, calls_);
  if (!opened && opened.failure().cause == FailureCause::notFound) return State::notOpened;
  if (!locker_.waitLock()) return State::notLocked;
  if (!opened) return State::notOpened;
  const auto status = opened->status();
  if (!status || !status->isLinked) return State::notOpened;  // removed while it was waited for
  file_ = std::move(opened).value();
  length_ = status->size;
  return State::ready;
}

}  // namespace corvane
