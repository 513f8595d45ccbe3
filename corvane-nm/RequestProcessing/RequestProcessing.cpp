#include "corvane-nm/RequestProcessing/RequestProcessing.h"

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace corvane::RequestProcessing {
namespace {

struct Row {
  std::string_view type;  // as the browser sends it
  void (CommandHandlers::*handler)(Work);
};

constexpr std::array<Row, 13> commandTable = {{
    {"getCurrentAppState", &CommandHandlers::getCurrentAppState},
    {"init", &CommandHandlers::init},
    {"getCurrentFilteringState", &CommandHandlers::getCurrentFilteringState},
    {"setProtectionStatus", &CommandHandlers::setProtectionStatus},
    {"setFilteringStatus", &CommandHandlers::setFilteringStatus},
    {"addRule", &CommandHandlers::addRule},
    {"removeRule", &CommandHandlers::removeRule},
    {"removeCustomRules", &CommandHandlers::removeCustomRules},
    {"openOriginalCert", &CommandHandlers::openOriginalCert},
    {"reportSite", &CommandHandlers::reportSite},
    {"openFilteringLog", &CommandHandlers::openFilteringLog},
    {"openSettings", &CommandHandlers::openSettings},
    {"updateApp", &CommandHandlers::updateApp},
}};

}  // namespace

Processor::Processor(Environment environment)
    : handlers_(std::move(environment)), queue_("RequestProcessingQueue") {}

void Processor::process(JsonObject message, ReplyCallback reply) {
  std::optional<Request> request = Request::fromDictionary(std::move(message));
  if (!request) return;
  const auto* const row =
      std::find_if(commandTable.begin(), commandTable.end(),
                   [&](const Row& candidate) { return candidate.type == request->type; });
  if (row == commandTable.end()) return;
  const bool mayWait = CommandHandlers::mayWait(*request);
  auto work = std::make_unique<WorkingReply>(std::move(*request), std::move(reply));
  DispatchQueue::Task start = [this, handler = row->handler, work = std::move(work)]() mutable {
    (handlers_.*handler)(std::move(work));
  };
  if (mayWait) {
    queue_.async(std::move(start));
  } else {
    queue_.asyncLent(std::move(start));
  }
}

}  // namespace corvane::RequestProcessing
