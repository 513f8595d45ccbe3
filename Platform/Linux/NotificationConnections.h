#pragma once

#include <string>
#include <vector>

#include "Platform/Linux/FolderStamp.h"
#include "Platform/Posix/OwnedDescriptor.h"

namespace corvane::Platform {

/// Those who observe one notification, as one who posts it sees them: the sockets in its folder,
/// each with a connection of its own, so that what lies unread counts against nobody else. They are
/// kept from post to post and looked for anew when the folder has changed. One thread at a time.
class NotificationConnections {
 public:
  /// `folder` is the path of the notification's folder, whether it is there or not.
  explicit NotificationConnections(std::string folder) : path_(std::move(folder)) {}

  /// Sends `name` to all, and removes the sockets of processes that are gone, and the folder when
  /// that leaves nobody in it; what is no socket stays. An observer whose queue is full is waited
  /// for: all of these together and for at most 100 ms, so that one that stands still holds nobody
  /// up for long; it then misses the notification.
  void send(const std::string& name);

 private:
  struct Observer {
    std::string entry;
    OwnedDescriptor connection;
  };

  void lookAnew();
  void remove(const std::string& entry);

  const std::string path_;
  OwnedDescriptor folder_;
  FolderStamp stamp_;
  std::vector<Observer> observers_;
};

}  // namespace corvane::Platform
