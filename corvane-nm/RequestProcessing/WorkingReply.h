#pragma once

#include <memory>
#include <utility>

#include "corvane-nm/RequestProcessing/BrowserCommands.h"
#include "corvane-nm/RequestProcessing/Request.h"
#include "corvane-nm/RequestProcessing/Response.h"

namespace corvane::RequestProcessing {

/// A request on its way through its handler, with the reply that is built beside it. It has one
/// owner at a time, and `send` takes it from the last one, so a request can't be answered twice.
/// Destroyed without `send`, it gets no reply.
class WorkingReply {
 public:
  /// `command` must outlive it: a row of the table.
  WorkingReply(const BrowserCommand& command, Request&& request, ReplyCallback&& callback)
      : command(command), request(std::move(request)), callback_(std::move(callback)) {
    response.requestId = this->request.id;
  }

  /// Sends the reply as it stands.
  static void send(std::unique_ptr<WorkingReply> work) {
    work->callback_(std::move(work->response));
  }

  [[nodiscard]] const Parameters& parameters() const { return request.parameters; }

  /// Whether the request has all parameters that its command needs.
  [[nodiscard]] bool isComplete() const { return parameters().haveAll(command.parameters); }

  const BrowserCommand& command;
  const Request request;
  Response response;

 private:
  ReplyCallback callback_;
};

using Work = std::unique_ptr<WorkingReply>;

}  // namespace corvane::RequestProcessing
