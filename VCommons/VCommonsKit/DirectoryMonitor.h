#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "Platform/FileEvents.h"

namespace corvane {

class DirectoryMonitor;

/// Who is told of changes.
class DirectoryMonitorDelegate {
 public:
  DirectoryMonitorDelegate() = default;
  virtual ~DirectoryMonitorDelegate() = default;
  DirectoryMonitorDelegate(const DirectoryMonitorDelegate&) = delete;
  DirectoryMonitorDelegate& operator=(const DirectoryMonitorDelegate&) = delete;

  /// What `monitor` watches was written to or deleted. On the thread of the file events, one call
  /// at a time for all monitors of the process. Everything may be done to the monitor here, even
  /// ending its life.
  virtual void directoryMonitorDidObserveChange(DirectoryMonitor& monitor) = 0;
};

/// Watches one folder or file and tells a delegate when it is written to (for a folder: when its
/// list of entries changes) or deleted; Platform/FileEvents.h says what counts as that. A deletion
/// does not end the watch. Safe from any thread. Nothing is logged.
///
/// `stopMonitoring` and the end of the monitor wait for a call that it makes to the delegate,
/// unless made inside that call: hold no lock then that the delegate takes.
class DirectoryMonitor {
 public:
  /// Watches nothing yet and has no delegate.
  explicit DirectoryMonitor(std::string path);

  /// Stops. No call to the delegate runs or starts after it, but for the one it is done in, where
  /// the monitor is gone from here on.
  ~DirectoryMonitor() = default;
  DirectoryMonitor(const DirectoryMonitor&) = delete;
  DirectoryMonitor& operator=(const DirectoryMonitor&) = delete;

  /// Begins to watch what is at the path now. False when it can't be opened or watched: then
  /// nothing is watched. A monitor that watches already ends that and begins anew.
  bool startMonitoring();

  /// Ends watching; nothing when it did not. No call to the delegate runs or starts after the
  /// return, but for the one it is made in.
  void stopMonitoring();

  /// Who is told; owned by others. When it is gone nobody is told, and the monitor watches on.
  [[nodiscard]] std::weak_ptr<DirectoryMonitorDelegate> delegate() const;
  void setDelegate(std::weak_ptr<DirectoryMonitorDelegate> delegate);

  /// The path to watch. A new one counts from the next `startMonitoring` on.
  [[nodiscard]] std::string path() const;
  void setPath(std::string path);

  /// The descriptor of what is watched, opened for events only and owned by the monitor; -1 when it
  /// watches nothing.
  [[nodiscard]] int monitoredDirectoryFileDescriptor() const;

 private:
  void reportChange();

  mutable std::mutex mutex_;  // guards the delegate and the path; not held while one is told
  std::weak_ptr<DirectoryMonitorDelegate> delegate_;
  std::string path_;
  Platform::FileWatch watch_;  // the last one: it goes first, and its callbacks use the others
};

}  // namespace corvane
