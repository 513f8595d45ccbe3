#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "Platform/Posix/FileEventSource.h"

namespace corvane::Platform {

/// An inotify instance. The kernel has one watch per file in it, however often it is asked; here
/// their users are counted.
class Inotify final : public FileEventSource {
 public:
  explicit Inotify(OwnedDescriptor instance) : instance_(std::move(instance)) {}

  Result<std::shared_ptr<WatchedFile>> watch(OwnedDescriptor file) override;
  Result<std::vector<SystemFileEvent>> receive() override;

  /// Reports `events` of `file` from now on, beside what other users of its watch asked for. Gives
  /// the number of the watch.
  Result<int> add(const OwnedDescriptor& file, std::uint32_t events);

  /// Gives back what `add` gave; -1 is nothing.
  void release(int watch);

 private:
  OwnedDescriptor instance_;
  std::map<int, int> users_;                 // how many, by the number of the watch
  std::array<std::byte, 4096> buffer_ = {};  // of the thread that receives
};

/// A file or directory and the kernel's watches by which its events are known.
class WatchedPath final : public WatchedFile {
 public:
  /// `file` is what is watched; `inotify` must outlive this object.
  WatchedPath(Inotify& inotify, OwnedDescriptor file);
  ~WatchedPath() override;
  WatchedPath(const WatchedPath&) = delete;
  WatchedPath& operator=(const WatchedPath&) = delete;

  /// Once, before anything else.
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
  int own_ = -1;     // the watch on the path
  int parent_ = -1;  // of a directory: the watch on its parent; -1 where that can't be read
  bool deletionIsTold_ = false;
};

}  // namespace corvane::Platform
