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

/// All objects of one host, except those of the log. Must be used on the thread that creates it.
/// Must not be destroyed while requests are pending; `main` never destroys it.
struct Host {
  /// `browser`: the descriptors of the conversation, which must stay open as long as the host. Ends
  /// the process where a host can't start (Platform::hardStop).
  explicit Host(Platform::BrowserDescriptors browser);

  /// Starts up before it reads the first message. Returns after the end of input, when all requests
  /// are answered, the browser does not read, or the last slice is over. Must be called once. Ends
  /// the process if the stored log level can't be applied.
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
