#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Base/Result.h"
#include "Platform/FileEvents.h"
#include "Platform/OwnedDescriptor.h"

/// What FileWatch needs of the system: each has its own facility for this.
namespace corvane::Platform {

/// An event as the system tells it, in its own terms.
struct SystemFileEvent {
  std::uint64_t watch;  ///< on what
  std::uint32_t what;
};

/// A file or directory of which a source tells, up to the end of this object. One thread at a time.
class WatchedFile {
 public:
  WatchedFile() = default;
  virtual ~WatchedFile() = default;
  WatchedFile(const WatchedFile&) = delete;
  WatchedFile& operator=(const WatchedFile&) = delete;

  /// What `event`, received from the source, says of this file, each meaning once.
  virtual std::vector<FileEvent> meaningsOf(const SystemFileEvent& event) = 0;

  /// By which it was opened, for its events only; closed with this object.
  [[nodiscard]] virtual int descriptor() const = 0;
};

/// Tells of events on files. One thread at a time, except for `receive`.
class FileEventSource {
 public:
  static Result<std::unique_ptr<FileEventSource>> make();

  FileEventSource() = default;
  virtual ~FileEventSource() = default;
  FileEventSource(const FileEventSource&) = delete;
  FileEventSource& operator=(const FileEventSource&) = delete;

  /// Opens what `path` names, for its events and nothing else; close-on-exec. Safe from any thread.
  static Result<OwnedDescriptor> open(const std::string& path);

  /// Watches what `open` gave, from now on. The source must outlive the result.
  virtual Result<std::shared_ptr<WatchedFile>> watch(OwnedDescriptor file) = 0;

  /// Blocks until the system has told something and gives the events in it, in their order; there
  /// may be none. Repeats what was interrupted; on Linux
  /// also what lacked memory. Any other failure is for good.
  virtual Result<std::vector<SystemFileEvent>> receive() = 0;
};

}  // namespace corvane::Platform
