#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Base/Result.h"
#include "Platform/FileEvents.h"
#include "Platform/OwnedDescriptor.h"

/// The system-dependent half of FileWatch: inotify on Linux, kqueue on macOS. FileWatch adds the
/// thread, the callbacks and the locking.
namespace corvane::Platform {

/// An event as the system reports it, in its own terms; only a WatchedFile can interpret it.
struct SystemFileEvent {
  std::uint64_t watch;  ///< the system's number of the watch
  std::uint32_t what;   ///< the system's flags
};

/// One file or directory that a source reports on until this object is destroyed. Must be destroyed
/// before its source. One thread at a time.
class WatchedFile {
 public:
  WatchedFile() = default;
  virtual ~WatchedFile() = default;
  WatchedFile(const WatchedFile&) = delete;
  WatchedFile& operator=(const WatchedFile&) = delete;

  /// Translates `event`, which the source has received, into the events of this file, without
  /// duplicates; empty if it concerns only others.
  virtual std::vector<FileEvent> meaningsOf(const SystemFileEvent& event) = 0;

  /// The descriptor that was passed to `watch`; closed with this object.
  [[nodiscard]] virtual int descriptor() const = 0;
};

/// Reports events on files. One thread at a time, except that `receive` may run on one thread of
/// its own beside the other operations.
class FileEventSource {
 public:
  /// Creates the source of this system. Fails if the system has no resources for it.
  static Result<std::unique_ptr<FileEventSource>> make();

  FileEventSource() = default;
  virtual ~FileEventSource() = default;
  FileEventSource(const FileEventSource&) = delete;
  FileEventSource& operator=(const FileEventSource&) = delete;

  /// Opens `path`, symbolic links followed, only to receive its events; close-on-exec. Thread-safe.
  static Result<OwnedDescriptor> open(const std::string& path);

  /// Watches `file`, a result of `open`, from now on. The source must outlive the result.
  virtual Result<std::shared_ptr<WatchedFile>> watch(OwnedDescriptor file) = 0;

  /// Blocks until the system reports events and returns them in their order; may return none. Calls
  /// that a signal interrupts, and on Linux those that lack memory, are repeated; any other failure
  /// is permanent.
  virtual Result<std::vector<SystemFileEvent>> receive() = 0;
};

}  // namespace corvane::Platform
