#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>

#include "Base/TimeLimits.h"
#include "simulation/Browser.h"
#include "simulation/Container.h"

// What a browser checks about the replies and pushes that it gets.

namespace corvane::Simulation {
namespace {

constexpr std::string_view linkTimeout = "Can't connect to main app, timeout reached.";
constexpr std::string_view invalidParameters = "Invalid request paramaters.";

/// The longest time that a request may take when nothing delays it. None needs nearly as long.
constexpr std::chrono::milliseconds longestInCalm{1000};

}  // namespace

/// A host that ends at the end of input answers all requests that wait for no announcement.
void Browser::checkLastReplies() {
  const Process& process = *monitor_->process;
  if (process.wasKilled || !process.stopReason.empty() || !output_ || wasSlow_ || !closed_) return;
  if (!heard_.empty()) violate("ends in the middle of a frame");
  if (!monitor_->isStrict || monitor_->isCommandPending || !outbox_.empty() ||
      !context_.isCalmSince(*closed_))
    return;
  for (const auto& [id, asked] : asked_)
    if (!asked.isAnswered && !asked.getsNoReply && context_.isCalmSince(asked.at))
      violate("ends before it has answered " + asked.type);
}

void Browser::checkReply(const JsonObject& reply, Asked& asked) {
  const std::string data = textOf(reply, "data");
  const bool isError = textOf(reply, "result") != "ok";
  if (!asked.isValid) {
    const std::string_view wanted =
        asked.type == "init" ? "Supported api version mismatch" : invalidParameters;
    if (!isError || data != wanted) violate("accepts invalid parameters of " + asked.type);
    return;
  }
  const Time begun = std::max(asked.at, written_);
  if (asked.isAlone && outbox_.empty() && !asked.changesState && monitor_->isStrict && !wasSlow_ &&
      context_.isCalmSince(asked.at) && context_.kernel.now() - begun > longestInCalm)
    violate("takes too long for " + asked.type);
  if (isError) {
    checkError(data, asked);
  } else {
    checkContent(reply, asked);
    const auto waited = context_.kernel.now() - std::max(asked.at, fastSince_);
    if (asked.changesState && waited >= TimeLimits::appState && monitor_->isStrict &&
        context_.isCalmSince(asked.at))
      violate("waits in vain for an announcement after " + asked.type);
  }
  checkState(reply, asked);
}

void Browser::checkError(const std::string& text, Asked& asked) {
  const bool isCalm = context_.isCalmSince(asked.at) && monitor_->isStrict;
  if (text == linkTimeout) {
    context_.report.count("timeouts");
    if (isCalm) violate("times out on " + asked.type);
  } else if (text == "AppState timeout occured") {
    context_.report.count("announcements missed");
    monitor_->gaveUpAnnouncement();
    if (!asked.changesState) violate("waits for an announcement after " + asked.type);
    if (isCalm) violate("misses the announcement after " + asked.type);
    if (context_.kernel.now() - asked.at < TimeLimits::appState)
      violate("gives up an announcement too early");
  } else if (text == "Can't start main app.") {
    context_.report.count("starts refused");
    if (!asked.changesState || asked.type != "getCurrentFilteringState")
      violate("starts the application for " + asked.type);
  } else {
    const bool mayBeRefused = asked.type == "removeRule" || asked.type == "openOriginalCert";
    if (!mayBeRefused && monitor_->isStrict) violate("fails with \"" + text + "\"");
  }
}

/// The application's answers about a page contain its name.
void Browser::checkContent(const JsonObject& reply, const Asked& asked) {
  std::string found;
  const auto* parameters = findObject(reply, "parameters");
  if (parameters == nullptr) {
    if (asked.type == "init" || asked.type == "reportSite" ||
        asked.type == "getCurrentFilteringState")
      violate("omits the parameters");
    return;
  }
  if (asked.type == "reportSite") {
    found = textOf(*parameters, "reportUrl");
    found.erase(0, found.find('=') + 1);
  } else if (asked.type == "getCurrentFilteringState") {
    found = textOf(*parameters, "originalCertIssuer");
  } else {
    return;
  }
  if (found == asked.token) return;
  if (monitor_->isStrict || !tokens_.contains(found))
    return violate("answers " + asked.type + " for " + asked.token + " with " + found);
  context_.report.count("late replies taken for the answer to another request");
}

void Browser::checkState(const JsonObject& reply, const Asked& asked) {
  const auto* state = findObject(reply, "appState");
  const bool* const isRunning = state == nullptr ? nullptr : findBool(*state, "isRunning");
  const bool* const isEnabled =
      state == nullptr ? nullptr : findBool(*state, "isProtectionEnabled");
  if (isRunning == nullptr || isEnabled == nullptr) return violate("omits the state");
  // A changing command that fails reports the default state.
  if (!monitor_->isStrict || (asked.changesState && textOf(reply, "result") != "ok")) return;
  if (*isRunning && asked.type != "setFilteringStatus" && !context_.couldBe(*isEnabled, asked.at))
    violate("reports a state that the application never had, after " + asked.type);
  if (!*isRunning && context_.isCalmSince(asked.at))
    violate("reports that the application does not run, after " + asked.type);
}

void Browser::checkQuiescent(bool mustKnow) {
  if (!hasHost() || !isOpen()) return;
  for (const char* name : {"appState", "appReconfig"})
    if (Container::observer(context_.kernel.files(), *monitor_->process, name) == nullptr)
      violate(std::string("does not listen for ") + name);
  bool mayBeSilent = !heard_.empty();
  if (!heard_.empty()) violate("has sent an incomplete frame");
  for (const auto& [id, asked] : asked_) {
    if (asked.isAnswered || asked.getsNoReply) continue;
    mayBeSilent = true;
    if (asked.at > context_.lastFull) violate("never answers " + asked.type);
  }
  if (!mayBeSilent && !serials_.empty() && *serials_.rbegin() != serials_.size() &&
      context_.lastFull == Time::min())
    violate("skips serial numbers");
  if (!monitor_->isStrict) return;
  if (pushes_ < monitor_->mustPush && context_.lastFull == Time::min())
    violate("pushes " + std::to_string(pushes_) + " times after " +
            std::to_string(monitor_->mustPush) + " announcements");
  if (pushes_ > monitor_->announced + monitor_->applicationEnds && !monitor_->hasFailed)
    violate("sends more pushes than announcements");
  const Node responses =
      context_.kernel.files().at(Container::path() + "/Data/" + monitor_->responses());
  if (responses && responses->kind == Inode::Kind::file && !responses->bytes.empty())
    violate("has left a reply in its file");
  if (monitor_->announced < monitor_->expected)
    violate("has heard " + std::to_string(monitor_->announced) + " of " +
            std::to_string(monitor_->expected) + " announcements");
  if (mustKnow && knownRunning_ && !monitor_->wasOverlapped &&
      (!*knownRunning_ || knownProtection_ != context_.protection()))
    violate("has left the browser with an outdated state");
}

void Browser::checkAtEndOfApplication(Time quit) {
  // A reply that was in flight when the application ended still says that it runs.
  if (hasHost() && isOpen() && monitor_->isStrict && knownRunning_ && *knownRunning_ &&
      monitor_->lastTaken < quit)
    violate("has not told the browser that the application has ended");
}

}  // namespace corvane::Simulation
