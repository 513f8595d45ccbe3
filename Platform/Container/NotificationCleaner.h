#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Container/NotificationDirectory.h"
#include "Platform/Directories.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// Removes what dead processes left in the directory `Notifications`: their sockets, directories
/// that become empty by that, and directories that have been empty for an hour. Other files stay.
/// Runs on the loop from a few milliseconds after construction, one directory entry per iteration,
/// so that it delays neither the start of the process nor its end, however much there is to remove.
/// What can't be removed is left to the next process. Destroying it ends the work. Must be used on
/// the loop's thread.
class NotificationCleaner {
 public:
  /// Schedules the first step. `loop` and `notifications` must outlive this object.
  NotificationCleaner(EventLoop& loop, const NotificationDirectory& notifications);

 private:
  /// The directory of one notification while it is being cleaned.
  struct Name {
    std::string name;
    OwnedDescriptor directory;
    bool isForgotten;                       // unchanged for an hour: remove it if it is empty
    std::vector<std::string> entries = {};  // listed, not inspected yet
    bool removedAny = false;
  };

  void step();  // one entry, then schedules the next step
  bool list();
  void stepIntoNext();
  void stepInName();

  EventLoop& loop_;
  const NotificationDirectory& notifications_;
  OwnedDescriptor directory_;       // `Notifications`, with a position of its own
  std::vector<std::string> names_;  // listed, not inspected yet
  std::optional<Name> current_;
  EventLoop::Registration next_;
};

}  // namespace corvane::Platform
