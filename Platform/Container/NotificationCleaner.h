#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Container/NotificationDirectory.h"
#include "Platform/Directories.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// Removes what dead processes left in `Notifications`: their sockets, directories that this leaves
/// empty, and directories that were empty for an hour. Other files stay. Starts a few milliseconds
/// after construction and looks at one entry at a time on the loop, so it delays neither the start
/// of the process nor its end, however much there is to remove.
class NotificationCleaner {
 public:
  /// `loop` and `notifications` must outlive this object.
  NotificationCleaner(EventLoop& loop, const NotificationDirectory& notifications);

 private:
  /// A directory of one notification that is being cleaned.
  struct Name {
    std::string name;
    OwnedDescriptor directory;
    bool isForgotten;
    std::vector<std::string> entries = {};  // listed, not looked at yet
    bool removedAny = false;
  };

  void step();
  bool list();
  void stepIntoNext();
  void stepInName();

  EventLoop& loop_;
  const NotificationDirectory& notifications_;
  OwnedDescriptor directory_;       // opened anew for the listing
  std::vector<std::string> names_;  // listed, not looked at yet
  std::optional<Name> current_;
  EventLoop::Registration next_;
};

}  // namespace corvane::Platform
