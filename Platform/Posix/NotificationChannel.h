#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "Base/Result.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// The system-dependent half of a NotificationCenter: sends and receives names between processes,
/// over sockets in the group container on Linux, through the system's own service on macOS. All
/// operations must be called on the loop's thread.
class NotificationChannel {
 public:
  /// Called on the loop with the name of each notification that arrives, in order, and possibly
  /// with names that the center does not observe any more. May call the channel.
  using Received = std::function<void(std::string_view name)>;

  /// Creates the channel of this system, without system resources yet. `loop` must outlive it;
  /// `containerDirectory` is used on Linux only.
  static std::unique_ptr<NotificationChannel> make(EventLoop& loop, std::string containerDirectory,
                                                   Received received);

  NotificationChannel() = default;
  virtual ~NotificationChannel() = default;
  NotificationChannel(const NotificationChannel&) = delete;
  NotificationChannel& operator=(const NotificationChannel&) = delete;

  /// Returns whether `listen` has succeeded for `name`. That stays so until `close`: a process uses
  /// only a few names, so there is no way to stop listening to one.
  [[nodiscard]] virtual bool listensTo(const std::string& name) const = 0;

  /// Receives `name` from now on. If `name` is listened to already, drops what is pending for it;
  /// call it then only while `received` ignores `name`, because pending notifications may be
  /// delivered inside this call. Fails if the system refuses for now.
  virtual Result<Done> listen(const std::string& name) = 0;

  /// Calls `received` now for notifications that have already arrived, about a thousand at most.
  virtual void deliverPending() = 0;

  /// Posts `name`, which must be valid (isNotificationName), to all processes. Never blocks.
  virtual void post(const std::string& name) = 0;

  /// Ends listening and releases its system resources; `received` is not called any more. `own` are
  /// the names that no other process listens to, whose directories are removed too. Blocks for at
  /// most 100 ms while posts are still being delivered. Call it once, last.
  virtual void close(const std::set<std::string>& own) = 0;
};

}  // namespace corvane::Platform
