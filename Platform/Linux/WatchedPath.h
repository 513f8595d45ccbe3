#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "Platform/Posix/FileEventSource.h"

namespace corvane::Platform {

/// The FileEventSource of Linux: an inotify instance (inotify(7)). The kernel keeps one watch per
/// file in it, however often one is requested, so this class counts the users of each watch. Not
/// thread-safe, except that one thread may be in `receive` meanwhile.
class Inotify final : public FileEventSource {
 public:
  /// Takes over `instance`, a blocking descriptor from inotify_init1(2).
  explicit Inotify(OwnedDescriptor instance) : instance_(std::move(instance)) {}

  Result<std::shared_ptr<WatchedFile>> watch(OwnedDescriptor file) override;
  Result<std::vector<SystemFileEvent>> receive() override;

  /// Reports `events` (a mask of inotify) of `file` from now on, in addition to those that other
  /// users of its watch requested. Returns the number of the watch; release it as often as it was
  /// added.
  Result<int> add(const OwnedDescriptor& file, std::uint32_t events);

  /// Releases a result of `add`; the last release removes the watch. -1 is ignored.
  void release(int watch);

 private:
  OwnedDescriptor instance_;
  std::map<int, int> users_;                 // how many there are of each watch
  std::array<std::byte, 4096> buffer_ = {};  // used by `receive` only
};

/// The WatchedFile of Linux. A file needs one watch. A directory needs a second one, on its parent,
/// because inotify reports the removal of a directory only there while it is open.
class WatchedPath final : public WatchedFile {
 public:
  /// Takes over `file`, the file or directory to watch. `inotify` must outlive this object.
  WatchedPath(Inotify& inotify, OwnedDescriptor file);
  ~WatchedPath() override;
  WatchedPath(const WatchedPath&) = delete;
  WatchedPath& operator=(const WatchedPath&) = delete;

  /// Adds the watches; call it once, before anything else. Fails if the system adds no more
  /// watches, and with `notFound` if the file was deleted meanwhile.
  Result<Done> begin();

  std::vector<FileEvent> meaningsOf(const SystemFileEvent& event) override;
  [[nodiscard]] int descriptor() const override { return file_.number(); }

 private:
  Result<Done> watchParent();
  void followParent();
  Result<int> addParent();
  [[nodiscard]] Result<bool> isDeleted() const;

  Inotify& inotify_;
  const OwnedDescriptor file_;
  bool isDirectory_ = false;
  int own_ = -1;     // number of the watch on the path
  int parent_ = -1;  // of a directory: on its parent; -1 if that can't be watched
  bool deletionIsReported_ = false;
};

}  // namespace corvane::Platform
