#pragma once

#include <memory>
#include <utility>

#include "corvane-nm/RequestProcessing/BrowserCommands.h"
#include "corvane-nm/RequestProcessing/Request.h"
#include "corvane-nm/RequestProcessing/Response.h"

namespace corvane::RequestProcessing {

/// A request in progress, together with its reply as far as it is known. One owner at a time
/// (`Work`): handlers move it from step to step, and `send` consumes it, so that a request can't be
/// answered twice. If it is destroyed without `send`, the request gets no reply. On the loop's
/// thread.
class WorkingReply {
 public:
  /// `command` is a row of `browserCommands`. `callback` gets the reply. The reply is that for
  /// invalid parameters until a handler changes it, and refers to the request by its id.
  WorkingReply(const BrowserCommand& command, Request&& request, ReplyCallback&& callback)
      : command(command), request(std::move(request)), callback_(std::move(callback)) {
    response.requestId = this->request.id;
  }

  /// Calls the callback with the present reply, and destroys `work`.
  static void send(std::unique_ptr<WorkingReply> work) {
    work->callback_(std::move(work->response));
  }

  /// Valid as long as this object, wherever it is moved to with its owner.
  [[nodiscard]] const Parameters& parameters() const { return request.parameters; }

  /// Whether the request has all parameters that its command requires.
  [[nodiscard]] bool isComplete() const { return parameters().haveAll(command.parameters); }

  const BrowserCommand& command;
  const Request request;
  Response response;

 private:
  ReplyCallback callback_;
};

using Work = std::unique_ptr<WorkingReply>;

}  // namespace corvane::RequestProcessing
