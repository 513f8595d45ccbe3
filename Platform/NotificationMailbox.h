#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "Platform/NotificationCenter.h"

namespace corvane::Platform {

/// Notifications for a thread that waits for them itself: no callback, and no other thread that
/// would have to be woken first. One thread at a time, but for `interrupt`.
class NotificationMailbox {
 public:
  /// `center` must outlive this object. Does nothing yet.
  explicit NotificationMailbox(NotificationCenter& center);
  ~NotificationMailbox();  ///< also takes away what it left in the file system
  NotificationMailbox(const NotificationMailbox&) = delete;
  NotificationMailbox& operator=(const NotificationMailbox&) = delete;

  /// From now on notifications `name` (as in NotificationCenter::observe) come in, too. What has
  /// come so far, of this and of earlier names, is forgotten. False, with a record in the system
  /// log, when the system gives no means to hear it; false also after the center's `withdraw`.
  bool expect(const std::string& name);

  /// Waits until a notification comes, or has come since the last `expect` or the last that this
  /// took; until `end` at most. True when one came, of any of the names.
  bool waitUntil(std::chrono::steady_clock::time_point end);

  /// Ends the `waitUntil` that is under way, or the next one: it returns what it would at its end.
  /// Safe from any thread.
  void interrupt();

 private:
  class Implementation;
  const std::unique_ptr<Implementation> implementation_;
};

}  // namespace corvane::Platform
