#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Base/Result.h"

namespace corvane::Platform {

/// What can happen to a file or directory that is watched.
enum class FileEvent {
  written,  ///< content was written to the file; an entry of the directory came, went or was
            ///< renamed
  deleted,  ///< its last name is gone: removed, or replaced by a renaming. Once, if at all. On
            ///< macOS for each name that goes, also while others remain; if the file was written
            ///< to as well, there may be no `written` beside it
};

/// Watches one file or directory.
///
/// It is the file itself that is watched, not its name: a renaming is no event, and the watch goes
/// with the file; what later appears at the path is not watched. When its last name is gone, a
/// directory is silent, and a file tells only of what those write who have it open. For a
/// directory, what is written into its entries is no event. Writing through a memory mapping is not
/// noticed.
///
/// At least one call comes after the last event, perhaps fewer calls than events: macOS merges what
/// happens to a file while a callback runs. Linux loses events when a callback holds them up for
/// too long; then every watch hears `written`. On Linux the deletion of a directory is not seen
/// where this process may not read the directory above it.
///
/// Callbacks run one at a time, in the order of the events, on one thread that serves all watches
/// of the process. It starts with the first watch and ends only if the system's source of events
/// fails: then nothing is watched any more, `descriptor` gives -1, the system log has a line, and
/// `start` begins anew. A callback may do everything with
/// this watch and others, and may take its time, at the expense of the others. Safe from any
/// thread.
class FileWatch {
 public:
  using Callback = std::function<void(FileEvent)>;

  /// Watches nothing yet.
  explicit FileWatch(Callback callback);

  /// As `end`, and nothing can start the watch again. What the callback owns may go a moment later.
  ~FileWatch();
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  /// Begins to watch what `path` names now, following symbolic links as open(2) does, in place of
  /// what was watched before. Fails when that can't be opened, when the system watches no more
  /// files, and when it starts no thread; nothing is watched then. The first call may come before
  /// this returns, and where others watch the same file, it may tell of a moment ago.
  Result<Done> start(const std::string& path);

  /// Ends watching; nothing when it did not. No callback of this watch runs or starts after the
  /// return: one that runs is waited for, unless it is the caller.
  void end();

  /// What is watched, opened for nothing but that; it belongs to the watch and is closed with its
  /// end. -1 when nothing is watched.
  [[nodiscard]] int descriptor() const;

 private:
  class Service;
  struct State;

  const std::shared_ptr<State> state_;
};

}  // namespace corvane::Platform
