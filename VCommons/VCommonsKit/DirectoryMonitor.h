#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "Platform/FileEvents.h"

namespace corvane {

class DirectoryMonitor;

/// Receives the changes that `DirectoryMonitor` observes.
class DirectoryMonitorDelegate {
 public:
  DirectoryMonitorDelegate() = default;
  virtual ~DirectoryMonitorDelegate() = default;
  DirectoryMonitorDelegate(const DirectoryMonitorDelegate&) = delete;
  DirectoryMonitorDelegate& operator=(const DirectoryMonitorDelegate&) = delete;

  /// The directory or file of `monitor` was written to or deleted; several changes may be merged
  /// into one call. Runs on the thread of the file events, one call at a time for all monitors of
  /// the process. May do anything with the monitor, even destroy it. The delegate lives at least
  /// until the call returns.
  virtual void directoryMonitorDidObserveChange(DirectoryMonitor& monitor) = 0;
};

/// Watches one directory or file and calls a delegate when it is written to (a directory: when its
/// list of entries changes) or deleted; Platform/FileEvents.h says what counts as that. A deletion
/// does not end the watch. Thread-safe. Logs nothing.
///
/// `stopMonitoring` and the destructor wait for a running call to the delegate, unless called
/// inside it. So the caller must not hold a lock that the delegate takes: that would deadlock.
class DirectoryMonitor {
 public:
  /// Watches nothing yet and has no delegate.
  explicit DirectoryMonitor(std::string path);

  /// Stops watching. No call to the delegate runs or begins afterwards, except for one inside
  /// which the monitor is destroyed.
  ~DirectoryMonitor() = default;
  DirectoryMonitor(const DirectoryMonitor&) = delete;
  DirectoryMonitor& operator=(const DirectoryMonitor&) = delete;

  /// Watches the file or directory that the path names now; ends an earlier watch first. False if
  /// it can't be opened or watched: nothing is watched then.
  bool startMonitoring();

  /// Stops watching; a no-op if nothing is watched. No call to the delegate runs or begins after
  /// the return, except for one inside which it is called.
  void stopMonitoring();

  /// The delegate, which the monitor does not own. Without one, or after its end, changes are
  /// ignored and the watch goes on.
  [[nodiscard]] std::weak_ptr<DirectoryMonitorDelegate> delegate() const;
  void setDelegate(std::weak_ptr<DirectoryMonitorDelegate> delegate);

  /// The path to watch. A new one takes effect with the next `startMonitoring`.
  [[nodiscard]] std::string path() const;
  void setPath(std::string path);

  /// The descriptor of the watched file, opened for events only and owned by the monitor; -1 if
  /// nothing is watched.
  [[nodiscard]] int monitoredDirectoryFileDescriptor() const;

 private:
  void reportChange();

  mutable std::mutex mutex_;  // guards the delegate and the path; not held during a call to it
  std::weak_ptr<DirectoryMonitorDelegate> delegate_;
  std::string path_;
  Platform::FileWatch watch_;  // last: destroyed first, as its callback uses the other members
};

}  // namespace corvane
