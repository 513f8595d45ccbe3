#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Base/Result.h"
#include "Platform/EventLoop.h"

namespace corvane::Platform {

/// Sends and receives named notifications without payload between the processes of one user; on
/// macOS between those of all users, who may post any name. Each post causes a call after it; on
/// macOS several posts may be merged into one call.
///
/// Callbacks run on the loop, in the order in which the notifications arrived. All operations
/// belong to the loop's thread; callbacks may use them too.
class NotificationCenter {
 public:
  using Callback = std::function<void()>;

  /// Which processes observe a name. What this process alone observes leaves no empty directory
  /// behind; the others' directories stay for the next process.
  enum class Audience { manyProcesses, thisProcessOnly };

  /// `loop` must outlive this object. `containerDirectory`: the directory of the sockets on Linux;
  /// not used elsewhere. Makes nothing yet; the socket comes with the first observer.
  NotificationCenter(EventLoop& loop, std::string containerDirectory);

  /// As `withdraw`.
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// Calls `callback` for each notification `name` posted from now on. `name` has at most 200 bytes
  /// and no "/". Replaces an earlier callback. If `name` was observed before, but is not any more,
  /// what is pending for it is dropped; what is pending for other names may be delivered inside
  /// this call.
  ///
  /// Fails if `name` is not valid, after `withdraw`, and if the system refuses for now, which an
  /// error in the system log says. In the last case `name` is observed as soon as the system allows
  /// it; with `manyProcesses` the callback is then called once, because posts may have been missed.
  Result<Done> observe(const std::string& name, Callback callback,
                       Audience audience = Audience::manyProcesses);

  /// Ends the observation of `name`; its callback is not called again. A no-op when it is not
  /// observed.
  void stopObserving(const std::string& name);

  /// Delivers now what is pending, where the loop would do so soon: for a caller that is about to
  /// decide that something has not come. At most about a thousand notifications at a time.
  void deliverPending();

  /// Posts `name` to all observers, including this process; never blocks. If an observer's queue is
  /// full, delivery is tried again; an observer that takes nothing for 100 ms misses the
  /// notification, and the system log says so when the observers could not even be listed. A no-op
  /// without observers or if `name` is not valid.
  void post(const std::string& name);

  /// Removes this process's socket and links. Call it last. Blocks for at most 100 ms while
  /// deliveries are pending. No callback runs afterwards. Files of a killed process are removed by
  /// a later process that observes; sockets younger than 10 s are left.
  void withdraw();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
