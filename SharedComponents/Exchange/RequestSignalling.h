#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "Base/UniqueFunction.h"
#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"
#include "VCommons/VCommonsKit/SerialQueue.h"

namespace corvane {

/// The notifications between the host and the main application: `exchange` announces a request and,
/// with an identifier appended, its reply; `appState` a change of the main application's state;
/// `appReconfig` a change of the group's settings. `ready` is part of the interface; the host
/// neither posts nor observes it.
enum class RequestResponseName { exchange, ready, appState, appReconfig };

/// The word for `name` in a notification's name.
std::string rawValue(RequestResponseName name);

/// Notifications between the host and the main application: requests that wait for the notification
/// of their reply, and a registry of handlers for the notifications that the main application posts
/// on its own. Notifications carry no data; records travel in exchange files.
///
/// Everything runs on the loop's thread: calls, handlers and continuations. Handlers run in the
/// queue `handlers`, one at a time, so a handler is never interrupted by another.
class RequestSignalling {
 public:
  /// Called once per notification received. Copied before each call, so it may replace itself.
  using Handler = std::function<void()>;

  /// The serial queues in which signalling runs.
  struct Queues {
    SerialQueue& handlers;  ///< runs handlers and all changes of their registry
    SerialQueue& requests;  ///< runs requests; held while one waits for its reply
  };

  /// `loop`, `center` and the queues must outlive this object, and this object all tasks in the
  /// queues. A request waits at most `replyLimit` for its reply. Observes nothing yet.
  RequestSignalling(Platform::EventLoop& loop, Platform::NotificationCenter& center, Queues queues,
                    const std::string& mainAppIdentifier, std::chrono::milliseconds replyLimit);
  ~RequestSignalling();
  RequestSignalling(const RequestSignalling&) = delete;
  RequestSignalling& operator=(const RequestSignalling&) = delete;

  /// How a request ended.
  enum class Outcome {
    answered,  ///< a reply was announced, or none was to be waited for
    timedOut,  ///< the deadline passed
    refused,   ///< `begin` cancelled it before the post
  };

  /// Publishes the request, at once or later; then calls its argument once, with false to cancel
  /// the post. If the argument is destroyed uncalled, the request never ends.
  using Begin = UniqueFunction<void(UniqueFunction<void(bool)>)>;

  /// Posts `name`, waits for the notification of a reply, and then calls `done` once, on the loop.
  /// Any reply notification for `responseId` counts, whichever request it answers; whoever reads
  /// the reply checks its content. If `responseId` is empty, the request is answered as soon as it
  /// is posted. Requests run one at a time, in the order of these calls.
  ///
  /// `begin`, which may be empty, is called when it is the request's turn: after observation of the
  /// reply has begun, and before the post. This order matters, because a main application that
  /// another host has woken up may find and answer the request before this host posts. Such an
  /// early reply ends the wait at once.
  ///
  /// A reply that arrives by the deadline counts even if the loop was busy then. If it ends a wait,
  /// `done` runs after the handlers of notifications that arrived before it.
  void sendRequest(RequestResponseName name, const std::string& responseId, Begin begin,
                   UniqueFunction<void(Outcome)> done);

  /// The reply deadline of the request posted last. Inside `done` with `answered` or `timedOut`
  /// that is the request which has just ended.
  [[nodiscard]] Platform::EventLoop::Clock::time_point replyDeadline() const {
    return replyDeadline_;
  }

  /// Installs or replaces the handler of `name`, or removes it if `handler` is empty. Takes effect
  /// later, in the queue of the handlers. If the system can't observe `name` for now, the
  /// notification center tries again by itself.
  void setHandler(RequestResponseName name, Handler handler);

  /// Runs all pending calls of setHandler now. Must not be called by a handler: that ends the
  /// process.
  void installPending() {
    queues_.handlers.sync([] {});
  }

  /// Returns the handler of `name`, empty if there is none, after running everything that is
  /// pending in the queue of the handlers. Must not be called by a handler: that ends the process.
  Handler handler(RequestResponseName name);

  /// The full name of a notification: the main application's identifier, ".DARWIN_NOTIFICATION."
  /// and the word of `name`; for a reply also "." and `responseId`.
  [[nodiscard]] std::string notificationName(RequestResponseName name) const;
  [[nodiscard]] std::string notificationName(RequestResponseName name,
                                             const std::string& responseId) const;

 private:
  struct Request;

  void install(const std::string& name, Handler handler);
  void runHandler(const std::string& name);
  void start(std::unique_ptr<Request> request);
  void post();
  void deadlinePassed();
  void replyReceived();
  void finish(Outcome outcome);

  Platform::EventLoop& loop_;
  Platform::NotificationCenter& center_;
  const Queues queues_;
  const std::string prefix_;
  const std::chrono::milliseconds replyLimit_;
  Platform::EventLoop::Clock::time_point replyDeadline_;
  std::map<std::string, Handler> handlers_;  // by notification name
  std::set<std::string> observed_;           // notification names with a handler
  std::unique_ptr<Request> pending_;         // the request that waits for its reply
};

}  // namespace corvane
