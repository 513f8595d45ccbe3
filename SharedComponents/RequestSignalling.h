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

/// What host and main application signal to each other by a notification.
enum class RequestResponseName { exchange, ready, appState, appReconfig };

/// The word that stands for `name` in a notification name.
std::string rawValue(RequestResponseName name);

/// Notifications between host and main application: requests that wait for the notification of
/// their reply, and a registry of handlers that run when the main application posts a name. On the
/// loop's thread.
class RequestSignalling {
 public:
  using Handler = std::function<void()>;

  /// The two serial queues of a process in which signalling runs.
  struct Queues {
    SerialQueue& handlers;  ///< handlers run here, and only here is their registry changed
    SerialQueue& requests;  ///< one request at a time waits here for its reply
  };

  /// All of it must outlive this object and everything in the queues. `replyLimit`: how long a
  /// request waits for its reply.
  RequestSignalling(Platform::EventLoop& loop, Platform::NotificationCenter& center, Queues queues,
                    const std::string& mainAppIdentifier, std::chrono::milliseconds replyLimit);
  ~RequestSignalling();
  RequestSignalling(const RequestSignalling&) = delete;
  RequestSignalling& operator=(const RequestSignalling&) = delete;

  /// What became of a request.
  enum class Outcome {
    answered,  ///< the notification of a reply came
    timedOut,  ///< the limit passed
    refused,   ///< it was not posted
  };

  /// Publishes the request; calls its argument once, with false to cancel the post.
  using Begin = UniqueFunction<void(UniqueFunction<void(bool)>)>;

  /// Posts `name` and waits for the notification of a reply; then calls `done`, on the loop. Any
  /// reply that this process hears counts, whatever request it answers; the reader of the reply
  /// looks at its id. With an empty `responseId` there is nothing to wait for: answered at once.
  /// Requests wait one at a time, in the order of these calls.
  ///
  /// `begin`, if there is one, runs when it is the request's turn, once replies are heard and
  /// before anything is posted: the main application may be awake already, woken by another host,
  /// and answer before the post. A reply that came by then ends the wait at once.
  void sendRequest(RequestResponseName name, const std::string& responseId, Begin begin,
                   UniqueFunction<void(Outcome)> done);

  /// The reply deadline of the request posted last. In a `done` with `answered` or `timedOut`, that
  /// is the request that it belongs to.
  [[nodiscard]] Platform::EventLoop::Clock::time_point replyDeadline() const {
    return replyDeadline_;
  }

  /// Installs, replaces or (with an empty one) removes the handler of `name`, later, in the order
  /// of the handlers.
  void setHandler(RequestResponseName name, Handler handler);

  /// Installs now what setHandler has queued; not for a handler.
  void installPending() {
    queues_.handlers.sync([] {});
  }

  /// The handler of `name`, empty when there is none. Sees the effect of every setHandler before.
  /// Runs what is pending in the order of the handlers, so it must not be called by a handler.
  Handler handler(RequestResponseName name);

  /// The notification name of `name`: the main application's identifier, ".DARWIN_NOTIFICATION.",
  /// the word; for a reply also "." and `responseId`.
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
  std::set<std::string> observed_;           // names
  std::unique_ptr<Request> pending_;         // the one that waits
};

}  // namespace corvane
