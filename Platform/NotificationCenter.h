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
/// notification of the process is delivered. All operations are safe from any thread, but must not
/// be called from a callback.
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
  /// when the system gives no means to hear it; the host then goes on deaf to this name.
  bool observe(const std::string& name, Callback callback);

  /// Ends the observation of `name`; no callback for it starts after the return.
  void stopObserving(const std::string& name);

  /// Takes away what this process left in the file system, as the last thing before it ends.
  /// Nothing is delivered afterwards. What a killed process leaves, the next one that observes
  /// removes.
  void withdraw();

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
