#pragma once

#include "Platform/EventLoop.h"
#include "Platform/StandardStreams.h"
#include "SharedComponents/SharedResources.h"
#include "corvane-nm/BrowserChannel.h"
#include "corvane-nm/MainAppWatch.h"
#include "corvane-nm/RequestProcessing/AppStateListener.h"
#include "corvane-nm/RequestProcessing/CallerApplication.h"
#include "corvane-nm/RequestProcessing/RequestProcessing.h"

namespace corvane {

/// All objects of one host, but for those of the log. The thread that makes it owns it. Not made to
/// be destroyed while something is still pending: `main` never destroys its own.
struct Host {
  /// `browser`: the descriptors of the conversation, which must stay open as long as the host. Ends
  /// the process where a host can't start (Platform::hardStop).
  explicit Host(Platform::BrowserDescriptors browser);

  /// Starts up, all of it before the first message is read, and returns when the browser has closed
  /// its end and the last slice is over. Once. Ends the process when the stored log level can't be
  /// applied.
  void run();

  Platform::EventLoop loop;
  RequestProcessing::CallerApplication caller;
  SharedResources shared{loop};
  RequestProcessing::AppStateListener listener;
  RequestProcessing::Processor processor;
  const BrowserChannel::Processor process;
  BrowserChannel channel;
  MainAppWatch watch{shared, channel, process};
};

}  // namespace corvane
