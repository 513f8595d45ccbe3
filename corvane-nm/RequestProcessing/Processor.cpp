#include "corvane-nm/RequestProcessing/Processor.h"

#include <memory>
#include <utility>

namespace corvane::RequestProcessing {

Processor::Processor(Platform::EventLoop& loop, Environment environment)
    : queue_(loop, "RequestProcessingQueue"), handlers_(std::move(environment), queue_) {}

void Processor::process(Request&& request, ReplyCallback&& reply) {
  const BrowserCommand* const command = findBrowserCommand(request.type);
  if (command == nullptr) return;
  queue_.async([this, work = std::make_unique<WorkingReply>(*command, std::move(request),
                                                            std::move(reply))]() mutable {
    handlers_.start(std::move(work));
  });
}

}  // namespace corvane::RequestProcessing
