#include "corvane-nm/RequestProcessing/AppStateListener.h"

#include <utility>

#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane::RequestProcessing {
namespace {

constexpr char file[] = "corvane-nm/RequestProcessing";
constexpr auto appState = RequestResponseName::appState;

}  // namespace

AppStateListener::AppStateListener(RequestSignalling& signalling, std::chrono::milliseconds limit)
    : signalling_(signalling), limit_(limit) {}

void AppStateListener::interceptAppStateListener() {
  VCLogCDebugTrace({file, "interceptAppStateListener()"});
  auto owner = signalling_.handler(appState);
  {
    const std::lock_guard lock(savedMutex_);
    saved_ = std::move(owner);
  }
  signalling_.setHandler(appState, [this] { received(); });
}

void AppStateListener::returnAppStateListener() {
  VCLogCDebugTrace({file, "returnAppStateListener()"});
  RequestSignalling::Handler owner;
  {
    const std::lock_guard lock(savedMutex_);
    owner.swap(saved_);
  }
  if (owner) signalling_.setHandler(appState, std::move(owner));
}

bool AppStateListener::waitAppStateNotificationAndReturnListener() {
  constexpr char function[] = "waitAppStateNotificationAndReturnListener()";
  VCLogCDebugTrace({file, function});
  return waitAndReturnListener(function);
}

bool AppStateListener::waitAndReturnListener(const char* function) {
  std::unique_lock lock(mutex_);
  const bool came =
      signalCame_.wait_for(lock, limit_, [this, before = signals_] { return signals_ != before; });
  lock.unlock();
  VCLogCDebug({file, function}, "After waiting, result: %@", came ? "true" : "false");
  returnAppStateListener();
  return came;
}

/// On the queue of the notification handlers.
void AppStateListener::received() {
  const std::lock_guard lock(mutex_);
  VCLogCDebug({file, "interceptAppStateListener()"}, "Received intercepted appState");
  ++signals_;
  signalCame_.notify_all();
}

}  // namespace corvane::RequestProcessing
