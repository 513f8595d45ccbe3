#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Base/Result.h"
#include "Platform/EventLoop.h"
#include "Platform/NotificationCenter.h"
#include "Platform/RunningApplications.h"
#include "SharedComponents/Exchange/ExchangeBuffer.h"
#include "SharedComponents/Exchange/RequestSignalling.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"
#include "SharedComponents/GroupContainer.h"
#include "VCommons/VCommonsKit/SerialQueue.h"

/// The link to the main application, in this folder. Both processes share a directory, the group
/// container. The host appends a request to a file there (`ExchangeBuffer`), posts a notification
/// (`RequestSignalling`), waits for the notification of the reply, and reads the reply from another
/// file. `ExtensionBrowserApi/` has the commands and their client, `KeyedArchive/` the format of
/// the records.
namespace corvane {

/// The objects of the link, one of each, wired together: the container and its directories, the
/// settings, the exchange files, the notifications, and the client of the main application's
/// interface. Each accessor's contract is in the header of the object behind it. One per process,
/// because exchanges of one process must run one after another. On the loop's thread.
class SharedResources {
 public:
  using Handler = RequestSignalling::Handler;

  /// Finds the container (Platform/GroupContainers.h: what that touches, and how long it may
  /// block). A missing container is reported on first use. `loop` must outlive this object, and
  /// this object the loop's last turn.
  explicit SharedResources(Platform::EventLoop& loop);

  /// The paths of the container, of the logs directory in it, and of the directory of the exchange
  /// files; see GroupContainer.
  const std::optional<std::string>& url() { return container_.url(); }
  const std::optional<std::string>& logsUrl() { return container_.logsUrl(); }
  const std::optional<std::string>& dataUrl() { return container_.dataUrl(); }

  /// Why `logsUrl` returned nothing.
  [[nodiscard]] const std::string& logsFailure() const { return container_.logsFailure(); }

  /// Applies the stored log level to the logger of the process. Fails, with the level unchanged, as
  /// GroupContainer::pickUpLogLevel does.
  Result<Done> pickUpLogLevel() const;

  /// The notifications, and the running instances of the main application.
  RequestSignalling& signalling() { return signalling_; }
  Platform::RunningApplications& runningApplications() { return applications_; }

  /// The queue of the exchanges, and the client that adds them to it. A hold of the queue keeps the
  /// next exchange from starting.
  SerialQueue& workQueue() { return workQueue_; }
  ExtensionBrowserApiClient& client() { return *client_; }

  /// Removes the socket and links by which other processes notify this one. Call it last: no
  /// notification is delivered afterwards. Blocks for at most 100 ms.
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
