#include "corvane-nm/RequestProcessing/AppStateListener.h"

#include <utility>

#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane::RequestProcessing {
namespace {

constexpr char file[] = "corvane-nm/RequestProcessing";
constexpr auto appState = RequestResponseName::appState;

}  // namespace

AppStateListener::AppStateListener(Platform::EventLoop& loop, RequestSignalling& signalling,
                                   std::chrono::milliseconds limit)
    : loop_(loop), signalling_(signalling), limit_(limit) {}

void AppStateListener::interceptAppStateListener() {
  VCLogCDebugTrace({file, "interceptAppStateListener()"});
  saved_ = signalling_.handler(appState);
  signalling_.setHandler(appState, [this] { received(); });
}

void AppStateListener::returnAppStateListener() {
  VCLogCDebugTrace({file, "returnAppStateListener()"});
  if (saved_) signalling_.setHandler(appState, std::exchange(saved_, nullptr));
}

void AppStateListener::waitAppStateNotificationAndReturnListener(Completion done) {
  static constexpr char function[] = "waitAppStateNotificationAndReturnListener()";
  VCLogCDebugTrace({file, function});
  waitAndReturnListener(function, std::move(done));
}

void AppStateListener::waitAndReturnListener(const char* function, Completion done) {
  const std::uint64_t number = ++lastNumber_;
  Waiting& waiting = waiting_.emplace(number, Waiting{function, std::move(done)}).first->second;
  waiting.limit =
      loop_.at(Platform::EventLoop::now() + limit_, [this, number] { finish(number, false); });
}

/// Runs as a handler of notifications; the waits end in later tasks of the loop.
void AppStateListener::received() {
  VCLogCDebug({file, "interceptAppStateListener()"}, "Received intercepted appState");
  for (auto& [number, waiting] : waiting_) {
    waiting.limit = {};
    loop_.post([this, number = number] { finish(number, true); });
  }
}

void AppStateListener::finish(std::uint64_t number, bool isReceived) {
  const auto node = waiting_.extract(number);
  if (!node) return;  // a second notification came before this ran
  Waiting waiting = std::move(node.mapped());
  VCLogCDebug({file, waiting.function}, "After waiting, result: %@", isReceived ? "true" : "false");
  returnAppStateListener();
  waiting.done(isReceived);
}

}  // namespace corvane::RequestProcessing
