#include "VCommons/VCommonsKit/DirectoryMonitor.h"

#include <utility>

namespace corvane {

DirectoryMonitor::DirectoryMonitor(std::string path)
    : path_(std::move(path)), watch_([this](Platform::FileEvent) { reportChange(); }) {}

bool DirectoryMonitor::startMonitoring() {
  return static_cast<bool>(watch_.start(path()));
}

void DirectoryMonitor::stopMonitoring() {
  watch_.end();
}

/// The delegate may destroy the monitor, so nothing here may use it afterwards.
void DirectoryMonitor::reportChange() {
  if (const auto receiver = delegate().lock()) receiver->directoryMonitorDidObserveChange(*this);
}

std::weak_ptr<DirectoryMonitorDelegate> DirectoryMonitor::delegate() const {
  const std::lock_guard lock(mutex_);
  return delegate_;
}

void DirectoryMonitor::setDelegate(std::weak_ptr<DirectoryMonitorDelegate> delegate) {
  const std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

std::string DirectoryMonitor::path() const {
  const std::lock_guard lock(mutex_);
  return path_;
}

void DirectoryMonitor::setPath(std::string path) {
  const std::lock_guard lock(mutex_);
  path_ = std::move(path);
}

int DirectoryMonitor::monitoredDirectoryFileDescriptor() const {
  return watch_.descriptor();
}

}  // namespace corvane
