#include <string>
#include <utility>

#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/MainAppCheck/Replied.h"
#include "tools/corvane-nmctl/MainAppCheck/Subject.h"

/// What each command answers when all goes well.
namespace corvane::Nmctl::MainAppCheck {
namespace {

/// Whether `result`, nullptr when it is missing, is of the kind that a command gives.
using IsKind = bool (*)(const Value* result);

template <class T>
bool is(const Value* result) {
  return result != nullptr && result->as<T>() != nullptr;
}

bool isAppState(const Value* result) {
  return is<Record>(result) && EBAAppStateResponse::fromRecord(*result->as<Record>());
}

bool isPageState(const Value* result) {
  if (!is<Record>(result)) return false;
  const auto state = EBACurrentFilteringStateResponse::fromRecord(*result->as<Record>());
  if (!state) return false;
  const std::string& status = state->originalCertStatus;
  if (!status.empty() && !ExtensionBrowserApiConstants::certStatusFromRawValue(status))
    broken("originalCertStatus is \"" + status + "\"");
  return true;
}

/// A command, what it takes, and what it answers.
struct Case {
  const char* name;
  const char* kind;      ///< of the result, for people
  IsKind isKind;         ///< nullptr: it gives none
  Dictionary (*body)();  ///< nullptr: the command takes none
};

void answers(Bench& bench, const Case& command) {
  const ExchangeRecord reply = PlayedHost(bench).ask(
      command.name, command.body == nullptr ? std::nullopt : std::optional(command.body()));
  if (command.isKind == nullptr) return requireNoResult(reply);
  requireDone(reply);
  if (!command.isKind(reply.body->find("result")))
    broken(std::string("the result of ") + command.name + " is " +
           (reply.body->find("result") == nullptr ? "missing" : "of another kind"));
}

Dictionary filtered() {
  return {{"url", Subject::page()}, {"enabled", true}};  // as it is by itself
}
Dictionary page() {
  return {{"url", Subject::page()}};
}
Dictionary report() {
  return {{"url", Subject::page()}, {"referrer", ""}, {"userAgent", Subject::app}};
}

constexpr Case reading[] = {
    {"appState", "EBAAppStateResponse", isAppState, nullptr},
    {"getCurrentFilteringState", "EBACurrentFilteringStateResponse", isPageState, Subject::look},
};

constexpr Case changing[] = {
    {"setHttpFilteringStatus", "none", nullptr, filtered},
    {"setHttpsFilteringStatus", "a boolean", is<bool>, filtered},
    {"removeCustomRules", "none", nullptr, page},
    {"reportSite", "a text", is<std::string>, report},
    {"openFilteringLog", "none", nullptr, nullptr},
    {"openSettings", "none", nullptr, nullptr},
    {"updateApp", "none", nullptr, nullptr},
};

void switchProtection(Bench& bench) {
  PlayedHost host(bench);
  const bool before = protectionOf(host);
  const std::string left =
      before ? "protection may be off; it was on" : "protection may be on; it was off";
  const Afterwards restore(bench, left, [&] {
    PlayedHost last(bench);
    setProtection(last, before);
  });
  for (const bool enabled : {!before, before})
    requireNoResult(host.ask("setProtectionStatus", Dictionary{{"enabled", enabled}}));
}

Point pointOf(const std::string& name, const std::string& kind, Point::Needs needs,
              std::function<void(Bench&)> examine) {
  return {"command-" + name,
          "The table of commands, " + name + ": the result is " + kind +
              (kind == "none" ? "; an empty dictionary says that all went well." : "."),
          needs, std::move(examine)};
}

}  // namespace

Points commandPoints() {
  using Needs = Point::Needs;
  Points points;
  const auto add = [&points](const Case& command, Needs needs) {
    points.push_back(pointOf(command.name, command.kind, needs,
                             [&command](Bench& bench) { answers(bench, command); }));
  };
  for (const Case& command : reading) add(command, Needs::answers);
  points.push_back(pointOf("setProtectionStatus", "none", Needs::changes, switchProtection));
  for (const Case& command : changing) add(command, Needs::changes);
  return points;
}

}  // namespace corvane::Nmctl::MainAppCheck
