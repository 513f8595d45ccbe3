#pragma once

#include <functional>
#include <map>
#include <string>

#include "Platform/NotificationCenter.h"
#include "VCommons/VCommonsKit/DispatchQueue.h"

namespace corvane {

/// What host and main application signal to each other by a notification.
enum class RequestResponseName { exchange, ready, appState, appReconfig };

/// The word that stands for `name` in a notification name.
std::string rawValue(RequestResponseName name);

/// Notifications between host and main application: a registry of handlers that run when the main
/// application posts a name. Safe from any thread.
class RequestSignalling {
 public:
  using Handler = std::function<void()>;

  /// `center` and `queue` must outlive this object and everything queued. Handlers run on `queue`,
  /// and only there is the registry touched.
  RequestSignalling(Platform::NotificationCenter& center, DispatchQueue& queue,
                    const std::string& mainAppIdentifier);

  /// Installs, replaces or (with an empty one) removes the handler of `name`. Queued; returns at
  /// once.
  void setHandler(RequestResponseName name, Handler handler);

  /// The handler of `name`, empty when there is none. Sees every setHandler that this thread called
  /// before. Waits for its turn on the queue, so never from a handler.
  Handler handler(RequestResponseName name);

  /// The notification name of `name`: the main application's identifier, ".DARWIN_NOTIFICATION.",
  /// the word.
  [[nodiscard]] std::string notificationName(RequestResponseName name) const;

 private:
  void install(const std::string& name, Handler handler);
  void delivered(const std::string& name);

  Platform::NotificationCenter& center_;
  DispatchQueue& queue_;
  const std::string prefix_;
  std::map<std::string, Handler> handlers_;  // by notification name; only on the queue
};

}  // namespace corvane
