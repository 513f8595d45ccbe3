#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Base/Result.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// Posts and receives named notifications without payload between the processes of one user; on
/// macOS between those of all users, and any of them may post any name. A notification is only a
/// hint to look again: after each post every observer's callback is called at least once, but on
/// macOS several posts may be merged into one call, and on Linux an observer that is not reading
/// may miss a post (see `post`).
///
/// Callbacks run on the loop, in the order in which the notifications arrived, and may use every
/// operation. All operations must be called on the loop's thread; none blocks except `withdraw`.
class NotificationCenter {
 public:
  using Callback = std::function<void()>;

  /// Which processes observe a name. On Linux the directory of a name is removed at the end if only
  /// this process observes it; otherwise it stays for the next process.
  enum class Audience { manyProcesses, thisProcessOnly };

  /// `loop` must outlive this object. `containerDirectory` is the group container, in which the
  /// sockets lie on Linux; not used on macOS. Creates nothing in it yet: the socket is created by
  /// the first `observe`.
  NotificationCenter(EventLoop& loop, std::string containerDirectory);

  /// Calls `withdraw` if that was not done before.
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// Calls `callback` for each notification `name` that is posted from now on. `name` has 1 to 200
  /// bytes, no "/" and no "." in front. Replaces an earlier callback for it. If `name` was observed
  /// before and then no more, its pending notifications are discarded; pending ones of other names
  /// may be delivered inside this call.
  ///
  /// Fails if `name` is not valid, after `withdraw`, and if the system refuses for now. In the last
  /// case an error is written to the system log and the center retries until `name` is observed;
  /// with `manyProcesses` it then calls the callback once, because posts may have been missed.
  Result<Done> observe(const std::string& name, Callback callback,
                       Audience audience = Audience::manyProcesses);

  /// Ends the observation of `name`: its callback is not called again and is destroyed, unless it
  /// is running, then when it returns. A no-op if `name` is not observed.
  void stopObserving(const std::string& name);

  /// Delivers pending notifications now, inside this call, instead of in the loop's next iteration:
  /// for a caller that is about to decide that a notification has not arrived. At most about a
  /// thousand of them.
  void deliverPending();

  /// Posts `name` to all observers, including this process. Never blocks. If the queue of an
  /// observer is full, delivery is retried; an observer that reads nothing for 100 ms misses the
  /// notification. If the observers can't be listed for as long, that is written to the system log.
  /// A no-op without observers or if `name` is not valid.
  void post(const std::string& name);

  /// Ends all observations and removes this process's socket and links. No callback runs
  /// afterwards. Blocks for at most 100 ms while posts are still being delivered. Call it last; a
  /// no-op the second time. What a killed process leaves behind is removed by a later process that
  /// observes; sockets younger than 10 s are left alone.
  void withdraw();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
