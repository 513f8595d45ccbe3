#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Base/Result.h"

namespace corvane::Platform {

/// What can happen to a watched file or directory.
enum class FileEvent {
  written,  ///< content was written to the file; an entry of the directory came, went or was
            ///< renamed
  deleted,  ///< its last name is gone: removed, or replaced by a renaming. Once, if at all. On
            ///< macOS for each name that goes, also while others remain; if the file was written
            ///< to as well, there may be no `written` beside it
};

/// Watches one file or directory and calls back when it is written to or deleted.
///
/// The watch is on the file, not on its name: renaming it is no event, and whatever appears at the
/// path later is not watched. After its last name is gone, a directory reports nothing more, and a
/// file reports only writes made through an open descriptor. Changes inside the entries of a
/// directory are no events of the directory. Writes through a memory mapping are not noticed.
///
/// At least one call follows the last event, but there may be fewer calls than events: macOS merges
/// the events of a file while a callback runs, and Linux loses events if a callback takes too long;
/// every watch then gets `written`. On Linux the deletion of a directory goes unnoticed if this
/// process may not read the directory above it.
///
/// Callbacks run one at a time, in the order of the events, on one background thread that serves
/// all watches of the process. It starts with the first watch and ends only if the system's source
/// of events fails. Then an error is written to the system log, nothing is watched any more,
/// `descriptor` returns -1, and `start` may be called again. A callback may call every operation of
/// this watch and of others, and may block, but then delays all other callbacks. Thread-safe.
class FileWatch {
 public:
  using Callback = std::function<void(FileEvent)>;

  /// Watches nothing yet. `callback` is called on the background thread; it must not be empty.
  explicit FileWatch(Callback callback);

  /// Calls `end`. What the callback owns may be destroyed a moment later, on the background thread.
  ~FileWatch();
  FileWatch(const FileWatch&) = delete;
  FileWatch& operator=(const FileWatch&) = delete;

  /// Begins to watch the file that `path` names now, symbolic links followed, instead of the one
  /// watched before. Fails if it can't be opened, if the system watches no more files, or if it
  /// starts no thread; nothing is watched then. The callback may be called before this returns and,
  /// if other watches have the same file, for an event of a moment before.
  Result<Done> start(const std::string& path);

  /// Stops watching; a no-op if nothing is watched. Blocks until a running callback of this watch
  /// has returned, unless called on the background thread. No callback of this watch starts
  /// afterwards.
  void end();

  /// The descriptor by which the file is watched, or -1 if nothing is watched. It belongs to the
  /// watch, is closed by `end`, and on Linux can't be read from.
  [[nodiscard]] int descriptor() const;

 private:
  class Service;
  struct State;

  const std::shared_ptr<State> state_;
};

}  // namespace corvane::Platform
