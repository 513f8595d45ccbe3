#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "Platform/EventLoop.h"
#include "Platform/Linux/DirectoryStamp.h"
#include "Platform/OwnedDescriptor.h"

namespace corvane::Platform {

/// Connections to all observers of one notification, for posting. One socket per observer, so that
/// a full queue delays no other. Connections are kept between posts; the directory is listed again
/// when it has changed. On the loop's thread.
class NotificationConnections {
 public:
  /// How long an observer with a full queue may take nothing.
  static constexpr std::chrono::milliseconds longestStandstill{100};

  /// For the notification `name`, whose directory is `parent` + `name`, whether it exists or not.
  /// `loop` must outlive this object.
  NotificationConnections(EventLoop& loop, const std::string& parent, std::string name);

  /// Sends the name to all observers. Removes sockets of dead processes, and the directory if that
  /// leaves it empty; entries that are not sockets stay. An observer whose queue is full gets the
  /// name when there is room; one that takes nothing for `longestStandstill` misses it. If the
  /// observers can't be listed, the known ones get the name at once; those found within
  /// `longestStandstill` get it once, however often it was posted.
  void send();

  /// Whether no observer has anything to get.
  [[nodiscard]] bool isIdle() const;

  /// Blocks until every observer has what was sent, or `end`.
  void finish(EventLoop::Clock::time_point end);

 private:
  using Clock = EventLoop::Clock;

  struct Observer {
    std::string entry;
    OwnedDescriptor connection;
    std::deque<Clock::time_point> pending = {};  // the time of each post that is still pending
    Clock::time_point lastTaken = Clock::time_point::min();
    EventLoop::Registration writable = {};
    EventLoop::Registration retry = {};
    bool isGone = false;
    bool isNew = true;  // nothing was sent to it yet
  };

  enum class Sent { taken, full, refused, gone };

  bool listAnew();
  bool connectTo(const std::string& entry);
  void lookAgainSoon();
  void lookAgain();
  void forgetGone();
  void send(Observer& observer);
  Sent sendTo(Observer& observer);
  void await(Observer& observer, Sent why);
  void sendPending(Observer& observer);
  void tryAgain(Observer& observer);
  void remove(const std::string& entry);

  EventLoop& loop_;
  const std::string name_;
  const std::string path_;
  OwnedDescriptor directory_;
  DirectoryStamp stamp_;
  std::vector<std::unique_ptr<Observer>> observers_;
  bool isLooking_ = false;         // for observers that could not be listed
  Clock::time_point lookLimit_;    // until when they are looked for
  EventLoop::Registration again_;  // the next look for them
};

}  // namespace corvane::Platform
