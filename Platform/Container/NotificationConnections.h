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

/// Posts one notification to all its observers. Has one connected socket per observer, so that a
/// full queue of one does not delay the others. Connections are kept between posts; the directory
/// of the observers is listed again only if it has changed. Never blocks, except in `finish`. Must
/// be used on the loop's thread.
class NotificationConnections {
 public:
  /// How long an observer with a full queue may read nothing before a post to it is dropped.
  static constexpr std::chrono::milliseconds longestStandstill{100};

  /// For the notification `name`. Its directory is `parent` + `name`; it need not exist. `loop`
  /// must outlive this object.
  NotificationConnections(EventLoop& loop, const std::string& parent, std::string name);

  /// Posts: sends the name to all observers. An observer whose queue is full gets it as soon as
  /// there is room; one that reads nothing for `longestStandstill` misses it. If the observers
  /// can't be listed, the known ones get it at once, and those found within `longestStandstill` get
  /// it once, however often it was posted meanwhile.
  ///
  /// Removes sockets of dead processes on the way, and the directory if that leaves it empty.
  /// Entries that are not sockets stay.
  void send();

  /// Returns true if nothing remains to be delivered.
  [[nodiscard]] bool isIdle() const;

  /// Blocks until every observer has got what was posted, until `end` at most.
  void finish(EventLoop::Clock::time_point end);

 private:
  using Clock = EventLoop::Clock;

  struct Observer {
    std::string entry;  // the name of its socket in the directory
    OwnedDescriptor connection;
    std::deque<Clock::time_point> pending = {};  // the times of posts not yet delivered
    Clock::time_point lastTaken = Clock::time_point::min();
    EventLoop::Registration writable = {};  // while its queue is full
    EventLoop::Registration retry = {};     // while posts are pending
    bool isGone = false;                    // no process has the socket open
    bool isNew = true;                      // nothing was sent to it yet
  };

  // The outcome of one send. `refused`: for lack of memory or the like; `gone`: no process reads.
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
  DirectoryStamp stamp_;  // of the last complete listing
  std::vector<std::unique_ptr<Observer>> observers_;
  bool isLooking_ = false;         // some observers may be missing: list again soon
  Clock::time_point lookLimit_;    // when to stop doing that
  EventLoop::Registration again_;  // the next listing
};

}  // namespace corvane::Platform
