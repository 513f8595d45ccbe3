#pragma once

#include <sys/inotify.h>

#include <cstdint>
#include <map>
#include <optional>

#include "Base/Result.h"
#include "Platform/FileEvents.h"
#include "Platform/Linux/OwnedDescriptor.h"

namespace corvane::Platform {

/// An inotify instance. The kernel has one watch per file in it, however often it is asked; here
/// their users are counted. One thread at a time, except for reading from the descriptor.
class Inotify {
 public:
  explicit Inotify(OwnedDescriptor instance) : instance_(std::move(instance)) {}

  /// Reports `events` of `file` from now on, beside what other users of its watch asked for. Gives
  /// the number of the watch; -1 with errno set when it fails.
  int add(const OwnedDescriptor& file, std::uint32_t events);

  /// Gives back what `add` gave; -1 is nothing.
  void release(int watch);

  [[nodiscard]] int descriptor() const { return instance_.number(); }

 private:
  OwnedDescriptor instance_;
  std::map<int, int> users_;  // how many, by the number of the watch
};

/// A file or folder and the kernel's watches by which its events are known. One thread at a time.
class WatchedPath {
 public:
  /// `file` is what is watched; `inotify` must outlive this object.
  WatchedPath(Inotify& inotify, OwnedDescriptor file);
  ~WatchedPath();
  WatchedPath(const WatchedPath&) = delete;
  WatchedPath& operator=(const WatchedPath&) = delete;

  /// Once, before anything else.
  Result<Done> begin();

  /// What `event`, read from the instance, says of this path, if anything.
  std::optional<FileEvent> meaningOf(const inotify_event& event);

  [[nodiscard]] int descriptor() const { return file_.number(); }

 private:
  void watchParent();
  [[nodiscard]] bool isDeleted() const;

  Inotify& inotify_;
  const OwnedDescriptor file_;
  bool isFolder_ = false;
  int own_ = -1;     // the watch on the path
  int parent_ = -1;  // for a folder: the watch on the folder above; -1 where that can't be read
  bool deletionIsTold_ = false;
};

}  // namespace corvane::Platform
