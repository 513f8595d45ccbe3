#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "Platform/RunningApplications.h"
#include "SharedComponents/ExchangeBuffer.h"
#include "SharedComponents/RequestSignalling.h"

namespace corvane {

/// The one entry point to what this process shares with the main application: class-level, thin,
/// each thing made on first use and kept for the life of the process. What it says of a member is
/// what the object behind it says: GroupContainer, ExchangeBuffer, RequestSignalling. Safe from any
/// thread.
class SharedResources {
 public:
  using RequestResponseName = corvane::RequestResponseName;
  using Handler = RequestSignalling::Handler;

  SharedResources() = delete;

  /// The shared container, or nothing when the system gives none.
  static const std::optional<std::string>& url();

  /// The logs folder and the folder of the exchange files in it; see GroupContainer.
  static const std::optional<std::string>& logsUrl();
  static const std::optional<std::string>& dataUrl();

  /// Why there is no logs folder.
  static const std::string& logsFailure();

  /// Applies the log level that the main application has set; see GroupContainer::pickUpLogLevel.
  static void pickUpLogLevel();
  static void pickUpChangedLogLevel();

  /// The records that travel in both directions. Its operations need the data folder: without it
  /// the process stops.
  static ExchangeBuffer& exchangeBuffer();

  /// The notifications that go with them; its handlers have operations of their own here.
  static RequestSignalling& signalling();
  static void setHandler(RequestResponseName name, Handler handler);
  static Handler handler(RequestResponseName name);

  /// Runs `task` on the queue of the handlers, after what was queued before.
  static void async(DispatchQueue::Task task);

  /// Has that queue wait with its tasks, handlers that are set among them, until `resume`, or until
  /// somebody waits for it.
  static void suspend();
  static void resume();

  /// The applications that run. Needs the container: without it the process stops.
  static Platform::RunningApplications& runningApplications();

  /// Lets a record that is being written get whole, within `limit`, and lets no other begin: for
  /// the end of the process.
  static void stopAppending(std::chrono::milliseconds limit);

  /// Takes away what this process left in the container for the others to reach it; the last thing
  /// before it ends. Does nothing when nothing was observed.
  static void withdraw();
};

}  // namespace corvane
