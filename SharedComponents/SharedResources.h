#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Base/Result.h"
#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"
#include "Platform/RunningApplications.h"
#include "SharedComponents/ExchangeBuffer.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"
#include "SharedComponents/GroupContainer.h"
#include "SharedComponents/RequestSignalling.h"
#include "VCommons/VCommonsKit/SerialQueue.h"

namespace corvane {

/// What this process shares with the main application, wired together: the container and its
/// directories, the settings, the exchange files, the notifications and the client of the main
/// application's interface. What is said of a member is in the header of the object behind it. One
/// per process; on the loop's thread.
class SharedResources {
 public:
  using Handler = RequestSignalling::Handler;

  /// Touches nothing but the database of users, to find the container. `loop` must outlive this
  /// object.
  explicit SharedResources(Platform::EventLoop& loop);

  /// The shared container, or nothing when the system has none; the logs directory and that of the
  /// exchange files in it.
  const std::optional<std::string>& url() { return container_.url(); }
  const std::optional<std::string>& logsUrl() { return container_.logsUrl(); }
  const std::optional<std::string>& dataUrl() { return container_.dataUrl(); }

  /// Why there is no logs directory.
  [[nodiscard]] const std::string& logsFailure() const { return container_.logsFailure(); }

  /// Applies the stored log level. Fails, with the level unchanged, as
  /// GroupContainer::pickUpLogLevel does.
  Result<Done> pickUpLogLevel() const;

  RequestSignalling& signalling() { return signalling_; }
  Platform::RunningApplications& runningApplications() { return applications_; }

  /// The order of the exchanges, and the client that runs them.
  SerialQueue& workQueue() { return workQueue_; }
  ExtensionBrowserApiClient& client() { return *client_; }

  /// Removes what this process left in the container for others to reach it, as the last thing
  /// before it ends. Nothing is delivered afterwards.
  void withdraw() { center_.withdraw(); }

 private:
  std::string dataFolder();

  GroupContainer container_;
  Platform::NotificationCenter center_;
  Platform::RunningApplications applications_;
  SerialQueue handlersQueue_;
  SerialQueue requestsQueue_;
  SerialQueue workQueue_;
  RequestSignalling signalling_;
  ExchangeBuffer exchangeBuffer_;
  std::shared_ptr<ExtensionBrowserApiClient> client_;
};

}  // namespace corvane
