#pragma once

#include <functional>
#include <memory>
#include <string>

namespace corvane::Platform {

/// Named notifications without payload, from and to every process of this user: at least one call
/// after the last post of a name, perhaps fewer calls than posts. (On Linux each post is one call;
/// macOS may merge.)
///
/// Callbacks run on a thread of the center's own and must only queue work: while one runs, no other
/// notification of the process is delivered. All operations are safe from any thread; from a
/// callback only `stopObserving`.
class NotificationCenter {
 public:
  using Callback = std::function<void()>;

  /// `containerFolder`: where the sockets lie on Linux; not used elsewhere. Does nothing yet;
  /// sockets and thread come with the first observer.
  explicit NotificationCenter(std::string containerFolder);
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// Calls `callback` for each notification `name` (at most 200 bytes, no "/") from now on. One
  /// callback per name: a second call replaces the first. False, with a record in the system log,
  /// when the system gives no means to hear it; the host then goes on deaf to this name. Also
  /// false, without a record, after `withdraw`.
  bool observe(const std::string& name, Callback callback);

  /// Ends the observation of `name`; no callback for it starts after the return.
  void stopObserving(const std::string& name);

  /// Posts `name` to all who observe it, this process included, and returns without waiting for
  /// them; where an observer's queue is full it waits, 100 ms at most for all of them. Nobody need
  /// observe it.
  void post(const std::string& name);

  /// Takes away what this process left in the file system, as the last thing before it ends.
  /// Nothing is delivered afterwards. What a killed process leaves, the next one that observes
  /// removes; a socket that was bound less than 10 s ago, one that comes later.
  void withdraw();

  /// What the system's half is made of; known, and of use, only there.
  class Implementation;
  Implementation& implementation() { return *implementation_; }

 private:
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
