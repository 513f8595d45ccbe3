#pragma once

#include <array>
#include <boost/json/monotonic_resource.hpp>
#include <cstddef>
#include <memory>
#include <utility>

#include "Base/UniqueFunction.h"
#include "corvane-nm/RequestProcessing/Request.h"
#include "corvane-nm/RequestProcessing/Response.h"

namespace corvane::RequestProcessing {

/// Takes the reply to one message. It is called at most once, on any thread; a message that gets no
/// reply has it destroyed uncalled. The message counts as being worked on as long as it exists.
/// The reply lies in memory that ends with the call: who keeps it takes an `ownCopy`.
using ReplyCallback = UniqueFunction<void(const JsonObject&)>;

/// A request on its way through its handler, with the reply that grows beside it. There is one
/// owner at a time, and `send` takes it away from the last one: a second answer has nothing left to
/// be given with.
class WorkingReply {
 public:
  WorkingReply(Request request, ReplyCallback callback)
      : request(std::move(request)), callback_(std::move(callback)) {
    response.requestId = this->request.id;
  }

  /// Gives the answer as it stands.
  static void send(std::unique_ptr<WorkingReply> work) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the resource writes it first
    std::array<unsigned char, longestOnStack> memory;
    boost::json::monotonic_resource values(memory.data(), memory.size());
    work->callback_(work->response.toDictionary(&values));
  }

  const Request request;
  Response response;

 private:
  static constexpr std::size_t longestOnStack = 2048;  // bytes; longer replies take more elsewhere

  ReplyCallback callback_;
};

using Work = std::unique_ptr<WorkingReply>;

}  // namespace corvane::RequestProcessing
