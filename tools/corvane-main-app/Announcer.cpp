#include "tools/corvane-main-app/Announcer.h"

#include <algorithm>

#include "Platform/Clocks.h"
#include "Platform/SystemCalls.h"
#include "tools/corvane-main-app/Vocabulary.h"

namespace corvane::MainApp {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds pauseAfterStart{500};
constexpr milliseconds pauseAfterReply{200};
constexpr milliseconds pauseBeforeRepeat{2000};

/// Announcements are made at multiples of this, so that many changes in a row are not as many
/// announcements, each of which all hosts would ask back for.
constexpr milliseconds grid{10};

void sleepUntil(Clock::time_point end) {
  for (auto now = Platform::steadyNow(); now < end; now = Platform::steadyNow()) {
    const auto left = std::chrono::ceil<milliseconds>(end - now);
    Platform::systemCalls().poll(nullptr, 0, static_cast<int>(left.count()));
  }
}

}  // namespace

void Announcer::started(Clock::time_point start) {
  plan(start + pauseAfterStart);
}

void Announcer::changedHere() {
  announce();
}

void Announcer::changedByRequest() {
  const auto first = Platform::steadyNow() + pauseAfterReply;
  plan(first);
  plan(first + pauseBeforeRepeat);
}

void Announcer::finish() {
  if (planned_.empty()) return;
  sleepUntil(std::min(planned_.begin()->first, Platform::steadyNow() + pauseAfterStart));
  planned_.clear();
  announce();
}

void Announcer::plan(Clock::time_point earliest) {
  const Clock::time_point due(
      std::chrono::ceil<milliseconds>(earliest.time_since_epoch()) / grid * grid + grid);
  if (planned_.contains(due)) return;
  planned_[due] = loop_.at(due, [this, due] {
    planned_.erase(due);
    announce();
  });
}

void Announcer::announce() {
  ++count_;
  center_.post(notificationName("appState"));
}

}  // namespace corvane::MainApp
