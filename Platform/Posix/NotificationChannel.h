#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "Base/Result.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// What a NotificationCenter needs of the system: names that travel between processes. On the
/// thread of the loop.
class NotificationChannel {
 public:
  /// Gets the name of each notification, in the order in which they arrived; may be one that is
  /// not wanted any more. May call the channel.
  using Received = std::function<void(std::string_view name)>;

  /// Creates no system resources yet. `loop` must outlive the result.
  static std::unique_ptr<NotificationChannel> make(EventLoop& loop, std::string containerDirectory,
                                                   Received received);

  NotificationChannel() = default;
  virtual ~NotificationChannel() = default;
  NotificationChannel(const NotificationChannel&) = delete;
  NotificationChannel& operator=(const NotificationChannel&) = delete;

  /// Whether `name` is listened to; so it stays until `close`, as names are few.
  [[nodiscard]] virtual bool listensTo(const std::string& name) const = 0;

  /// Receives `name` from now on. If `name` is listened to already, drops what is pending for it;
  /// call it then only while `received` ignores `name`, because pending notifications may be
  /// delivered inside this call. Fails if the system refuses for now.
  virtual Result<Done> listen(const std::string& name) = 0;

  /// Delivers what is pending, about a thousand at most.
  virtual void deliverPending() = 0;

  /// Posts `name`, which is a valid one.
  virtual void post(const std::string& name) = 0;

  /// Ends listening and removes what the system keeps for it; `own` are the names that no other
  /// process listens to. Blocks for at most 100 ms while deliveries are pending. Call it once,
  /// last.
  virtual void close(const std::set<std::string>& own) = 0;
};

}  // namespace corvane::Platform
