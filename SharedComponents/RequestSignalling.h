#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <set>
#include <string>

#include "Platform/NotificationCenter.h"
#include "Platform/NotificationMailbox.h"
#include "VCommons/VCommonsKit/DispatchQueue.h"

namespace corvane {

/// What host and main application signal to each other by a notification.
enum class RequestResponseName { exchange, ready, appState, appReconfig };

/// The word that stands for `name` in a notification name.
std::string rawValue(RequestResponseName name);

/// Notifications between host and main application: requests that wait for the notification of
/// their reply, and a registry of handlers that run when the main application posts a name. Safe
/// from any thread.
class RequestSignalling {
 public:
  using Handler = std::function<void()>;

  /// The two queues of a process on which signalling runs.
  struct Queues {
    DispatchQueue& handlers;  ///< handlers run here, and only here is their registry touched
    DispatchQueue& requests;  ///< one request at a time waits here for its reply
  };

  /// `center` and `queues` must outlive this object and everything queued. `replyLimit`: how long a
  /// request waits for its reply.
  RequestSignalling(Platform::NotificationCenter& center, Queues queues,
                    const std::string& mainAppIdentifier, std::chrono::milliseconds replyLimit);

  /// Makes a request seen; false when it is not to be posted after all.
  using Begin = std::function<bool()>;

  /// Posts `name` and waits for the notification of a reply: true when one came, false when the
  /// limit passed. Any reply that this process hears counts, whoever asked for it; the reader of
  /// the reply looks at its id. With an empty `responseId` there is nothing to wait for: true at
  /// once.
  ///
  /// `begin`, if there is one, runs in the request's turn, once replies are heard and before
  /// anything is posted: the main application may be awake already, woken by somebody else, and
  /// answer before the post. When it says false, so does this, at once.
  bool sendRequest(RequestResponseName name, const std::string& responseId,
                   const Begin& begin = {});

  /// Installs, replaces or (with an empty one) removes the handler of `name`. Queued; returns at
  /// once.
  void setHandler(RequestResponseName name, Handler handler);

  /// The handler of `name`, empty when there is none. Sees every setHandler that this thread called
  /// before. Waits for its turn on the queue, so never from a handler.
  Handler handler(RequestResponseName name);

  /// The notification name of `name`: the main application's identifier, ".DARWIN_NOTIFICATION.",
  /// the word; for a reply also "." and `responseId`.
  [[nodiscard]] std::string notificationName(RequestResponseName name) const;
  [[nodiscard]] std::string notificationName(RequestResponseName name,
                                             const std::string& responseId) const;

 private:
  void install(const std::string& name, Handler handler);
  void delivered(const std::string& name);
  void post(RequestResponseName name);
  bool awaitReply();

  Platform::NotificationCenter& center_;
  const Queues queues_;
  const std::string prefix_;
  const std::chrono::milliseconds replyLimit_;
  std::map<std::string, Handler> handlers_;  // by notification name; only on the queue
  std::set<std::string> observed_;           // names; only on the queue

  Platform::NotificationMailbox replies_;  // only in a turn of the queue of requests
};

}  // namespace corvane
