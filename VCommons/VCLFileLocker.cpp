#include "VCommons/VCLFileLocker.h"

#include <utility>

namespace corvane {

using Platform::File;

VCLFileLocker::VCLFileLocker(std::string path) : path_(std::move(path)) {}

VCLFileLocker::VCLFileLocker(std::string path, File file)
    : path_(std::move(path)), file_(std::move(file)) {}

VCLFileLocker::~VCLFileLocker() {
  unlock();
}

bool VCLFileLocker::lock() {
  return take(&File::tryLock);
}

bool VCLFileLocker::waitLock() {
  return take(&File::waitLock);
}

bool VCLFileLocker::take(Result<Done> (File::*operation)()) {
  const std::lock_guard guard(mutex_);
  if (locked_) return true;
  if (!open()) return false;
  const auto taken = ((*file_).*operation)();
  locked_ = static_cast<bool>(taken);
  isContended_ = !taken && taken.failure().cause == FailureCause::wouldBlock;
  return locked_;
}

bool VCLFileLocker::unlock() {
  const std::lock_guard guard(mutex_);
  if (locked_ && file_->unlock()) locked_ = false;
  return !locked_;
}

bool VCLFileLocker::open() {
  if (file_) return true;
  auto opened = File::open(path_, File::Access::readWrite);
  if (opened) file_ = std::move(opened).value();
  return file_.has_value();
}

}  // namespace corvane
