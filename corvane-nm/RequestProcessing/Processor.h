#pragma once

#include "VCommons/VCommonsKit/SerialQueue.h"
#include "corvane-nm/RequestProcessing/CommandHandlers.h"

namespace corvane::RequestProcessing {

/// Turns messages of the browser into replies: recognises the command and starts its handler. On
/// the loop's thread.
class Processor {
 public:
  /// `loop`, and all that `environment` refers to, must outlive the processor and everything that
  /// its handlers have started.
  Processor(Platform::EventLoop& loop, Environment environment);

  /// Takes one request and returns at once. `reply` gets the one reply, later, or is destroyed
  /// uncalled: at once for an unknown command, later when the main application's interface could
  /// not take the request. Handlers start one at a time in the order of these calls; replies may
  /// come in another order.
  void process(Request&& request, ReplyCallback&& reply);

 private:
  SerialQueue queue_;
  CommandHandlers handlers_;
};

}  // namespace corvane::RequestProcessing
