#pragma once

#include "VCommons/VCommonsKit/SerialQueue.h"
#include "corvane-nm/RequestProcessing/CommandHandlers.h"

/// Requests, in this folder: from the bytes of a message (`RequestParser`) over the table of
/// commands (`BrowserCommands`) and their handlers (`CommandHandlers`) to the reply (`Response`).
namespace corvane::RequestProcessing {

/// Processes requests of the browser: finds the command in the table and starts its handler. On the
/// loop's thread.
class Processor {
 public:
  /// `loop` and everything in `environment` must outlive the processor. The processor must outlive
  /// the loop's last turn and everything that its handlers have started.
  Processor(Platform::EventLoop& loop, Environment environment);

  /// Accepts one request and returns at once. `reply` is called once, later, on the loop. It is
  /// destroyed uncalled if there is no reply: at once for an unknown command, which is ignored
  /// silently, later if the request to the main application could not be written. Handlers start
  /// one at a time in the order of these calls; replies may come in another order.
  void process(Request&& request, ReplyCallback&& reply);

 private:
  SerialQueue queue_;
  CommandHandlers handlers_;
};

}  // namespace corvane::RequestProcessing
