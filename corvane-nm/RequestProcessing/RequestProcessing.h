#pragma once

#include "VCommons/VCommonsKit/DispatchQueue.h"
#include "corvane-nm/RequestProcessing/CommandHandlers.h"

namespace corvane::RequestProcessing {

/// Turns messages of the browser into answers: recognises the command and starts its handler.
class Processor {
 public:
  /// `environment` must outlive the processor and everything that its handlers have started.
  explicit Processor(Environment environment);

  /// Takes one decoded message and returns at once. A thread that lends itself (LentThread) finds
  /// the handler waiting there, unless it waits for a launch: such a one has a thread of its own.
  /// `reply` gets the one answer, later and on any
  /// thread, or is destroyed uncalled: at once for a message without a text "type" and "id" and for
  /// an unknown command, later when the main application's interface could not take the request.
  /// Handlers start one at a time in the order of these calls; answers may come in another order.
  /// Safe from any thread.
  void process(JsonObject message, ReplyCallback reply);

 private:
  CommandHandlers handlers_;
  DispatchQueue queue_;
};

}  // namespace corvane::RequestProcessing
