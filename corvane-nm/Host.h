#pragma once

#include "Platform/EventLoop.h"
#include "Platform/StandardStreams.h"
#include "SharedComponents/SharedResources.h"
#include "corvane-nm/BrowserChannel.h"
#include "corvane-nm/MainAppWatch.h"
#include "corvane-nm/RequestProcessing/AppStateListener.h"
#include "corvane-nm/RequestProcessing/CallerApplication.h"
#include "corvane-nm/RequestProcessing/Processor.h"

namespace corvane {

/// The host process, in this folder: it reads requests of a browser extension from standard input,
/// passes most of them to the main application, and writes the replies to standard output.
///
/// `Host` owns all objects of one host, except those of the log, which belong to the process. There
/// is one event loop, `loop`, on the thread that creates the host; every object here, and every
/// callback between them, runs on it. Callbacks refer to the objects, so the host must not be
/// destroyed while requests are pending; `main` never destroys it.
struct Host {
  /// `browser` has the descriptors for input and output, which the caller owns and must keep open
  /// as long as the host. Reads and writes nothing yet. Ends the process (Platform::hardStop) if
  /// the system lacks what every host needs, such as descriptors.
  explicit Host(Platform::BrowserDescriptors browser);

  /// Runs the host: installs the handlers of notifications, applies the stored log level, begins to
  /// observe the main application, and then reads messages. Returns after the end of input, once
  /// all requests are answered, the browser stops reading, or the last slice is over. Call it once.
  /// Ends the process if the stored log level can't be applied.
  void run();

  // In the order of construction; each may refer to those before it, and callbacks to all.
  Platform::EventLoop loop;
  RequestProcessing::CallerApplication caller;
  SharedResources shared{loop};
  RequestProcessing::AppStateListener listener;
  RequestProcessing::Processor processor;
  const BrowserChannel::Processor process;  ///< calls `processor`; for both sources of requests
  BrowserChannel channel;
  MainAppWatch watch{shared, channel, process};
};

}  // namespace corvane
