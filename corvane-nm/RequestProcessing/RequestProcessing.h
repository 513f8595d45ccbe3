#pragma once

#include "VCommons/VCommonsKit/DispatchQueue.h"
#include "corvane-nm/RequestProcessing/CommandHandlers.h"

namespace corvane::RequestProcessing {

/// Turns messages of the browser into answers: recognises the command and starts its handler.
class Processor {
 public:
  /// `environment` must outlive the processor and everything that its handlers have started.
  explicit Processor(Environment environment);

  /// Takes one decoded message and returns at once. `reply` gets the one answer, later and on any
  /// thread, or is destroyed uncalled: at once for a message without a text "type" and "id" and for
  /// an unknown command, later when the main application's interface could not take the request.
  /// Handlers start one at a time in the order of these calls; answers may come in another order. A
  /// thread that lends itself (LentThread) finds the handler waiting there, unless that may wait:
  /// such a one runs on a thread of its own. Safe from any thread.
  void process(JsonObject message, ReplyCallback reply);

 private:
  CommandHandlers handlers_;
  DispatchQueue queue_;
};

}  // namespace corvane::RequestProcessing
