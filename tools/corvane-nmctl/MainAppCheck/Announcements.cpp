#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "Platform/ApplicationLauncher.h"
#include "Platform/EventLoop.h"
#include "SharedComponents/Configuration.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/MainAppCheck/Replied.h"
#include "tools/corvane-nmctl/MainAppCheck/Subject.h"

/// When the application announces its state. One announcement may serve several causes, so an early
/// one is nobody's fault: what counts is that one comes that is late enough.
namespace corvane::Nmctl::MainAppCheck {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr char announcement[] = "appState";

/// After so long an announcement of which the contract fixes the earliest moment only counts as
/// missing.
constexpr auto patience = 4s;

std::string text(Clock::duration time) {
  return std::to_string(std::chrono::duration_cast<milliseconds>(time).count()) + " ms";
}

/// Waits for an announcement at `earliest` or later and up to `end`; ends as `broken`, saying
/// `what`, when there is none.
void requireAnnouncement(PlayedHost& host, Clock::time_point begin, Clock::time_point earliest,
                         Clock::time_point end, const std::string& what) {
  std::string early;
  while (const auto when = host.hear(Bench::notificationName(announcement), end)) {
    if (*when >= earliest) return;
    early += (early.empty() ? "; there was one after " : ", ") + text(*when - begin);
  }
  broken("no announcement came from " + text(earliest - begin) + " to " + text(end - begin) +
         " after " + what + early);
}

void ready(Bench& bench) {
  PlayedHost host(bench);
  host.observe(announcement);
  const auto begin = Clock::now();
  bench.post("ready");
  requireAnnouncement(host, begin, begin + 500ms, begin + 2s, "PREFIXready");
}

/// Requires that what was replied is announced to `host`, which observes that. What was heard
/// before the reply does not count: its host did not wait yet. Times count from the request, so
/// that nobody is accused because this process was late.
void requireAnnounced(PlayedHost& host, const ExchangeRecord& reply, bool isTwice = true) {
  requireDone(reply);
  const std::string what = "the request " + reply.name;
  const auto end = Clock::now() + patience;
  const auto sent = host.sent();
  requireAnnouncement(host, sent, sent + 200ms, end, what);
  if (isTwice) requireAnnouncement(host, sent, sent + 2200ms, end, what + ", once more");
}

void otherChanges(Bench& bench) {
  PlayedHost host(bench);
  host.observe(announcement);
  const Dictionary rule{{"ruleText", Subject::rule()}};
  bool mayBeThere = true;
  const Afterwards remove(bench, "the rule " + Subject::rule() + " may still be there", [&] {
    if (mayBeThere) requireDone(PlayedHost(bench).ask("removeRule", rule));
  });
  for (const bool isToBeThere : {true, false}) {
    const ExchangeRecord reply = host.ask(isToBeThere ? "addRule" : "removeRule", rule);
    mayBeThere = (refusalIn(reply) == nullptr) == isToBeThere;
    requireNoResult(reply);
    requireAnnounced(host, reply, !isToBeThere);  // once more for both, at the end
  }
}

/// Starts the main application once more; false when it can't be started.
bool launch() {
  Platform::EventLoop loop;
  bool isStarted = false;
  Platform::ApplicationLauncher::launch(loop, Configuration::MainAppBundleIdentifier,
                                        [&](bool answer) {
                                          isStarted = answer;
                                          loop.endTurn();
                                        });
  loop.turnUntil(Clock::time_point::max());
  return isStarted;
}

void secondStart(Bench& bench) {
  constexpr auto longestStart = 30s;
  constexpr auto longestWait = 2s;  // of the one that was started, once it has posted
  PlayedHost host(bench);
  for (const char* word : {"ready", announcement}) host.observe(word);
  const auto begin = Clock::now();
  if (!launch())
    notShown(std::string("there is no desktop entry ") + Configuration::MainAppBundleIdentifier +
             ".desktop, or it names no program that can be started");
  // However it had the state announced: by "ready" it is what the other one does.
  const auto asked = host.hear(Bench::notificationName("ready"), begin + longestStart);
  if (!asked) broken("the instance that was started did not post PREFIXready within 30 s");
  requireAnnouncement(host, *asked, *asked, *asked + longestWait,
                      "the PREFIXready of a second start");
  const auto end = Clock::now() + patience;
  const auto hasEnded = [&bench] { return registryIn(bench.container()).running.size() == 1; };
  while (!hasEnded() && Clock::now() < end) bench.waitUntil(Clock::now() + 20ms);
  if (!hasEnded() || !bench.isRunning())
    broken("after a second start it is not the one instance that ran before");
  (void)PlayedHost(bench).ask("appState");
}

Point announced(const std::string& name, std::function<Dictionary(PlayedHost&)> body) {
  return {"announce-" + name,
          "A request of which the reply is no error and which is waited for is announced not "
          "before 200 ms after that reply was posted, and once more 2 s later, also when it has "
          "changed nothing.",
          Point::Needs::changes, [name, body = std::move(body)](Bench& bench) {
            PlayedHost host(bench);
            host.observe(announcement);
            requireAnnounced(host, host.ask(name, body(host)));
          }};
}

}  // namespace

Points announcementPoints() {
  using Needs = Point::Needs;
  Points points = {
      {"announce-ready",
       "The instance that runs observes PREFIXready and announces 500 ms after it; who posted it "
       "waits 2 s.",
       Needs::answers, ready},
      {"announce-other-changes",
       "A request of which the reply is no error and which changes anything, as addRule and "
       "removeRule do, is announced likewise.",
       Needs::changes, otherChanges},
      {"second-start",
       "Whoever is started while an instance runs has that one announce its state, by PREFIXready, "
       "and ends.",
       Needs::changes, secondStart},
  };
  const auto page = [](PlayedHost&) { return Dictionary{{"url", Subject::page()}}; };
  points.push_back(announced("setProtectionStatus", [](PlayedHost& host) {
    return Dictionary{{"enabled", protectionOf(host)}};  // as it is
  }));
  points.push_back(announced("setHttpsFilteringStatus", [](PlayedHost&) {
    return Dictionary{{"url", Subject::page()}, {"enabled", true}};
  }));
  points.push_back(announced("removeCustomRules", page));
  return points;
}

}  // namespace corvane::Nmctl::MainAppCheck
