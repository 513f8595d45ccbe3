#include <string_view>
#include <utility>

#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/MainAppCheck/Protection.h"
#include "tools/corvane-nmctl/MainAppCheck/Replied.h"
#include "tools/corvane-nmctl/MainAppCheck/Subject.h"

/// What each command answers when all goes well.
namespace corvane::Nmctl::MainAppCheck {
namespace {

/// Whether `result`, nullptr when there is none, is of the kind that a command gives.
using IsKind = bool (*)(const Value* result);

bool isNone(const Value* result) {
  return result == nullptr;
}

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
  const char* kind;  ///< of the result, for people
  IsKind isKind;
  Dictionary (*body)();  ///< nullptr: the command takes none
};

std::optional<Dictionary> bodyOf(const Case& command) {
  return command.body == nullptr ? std::nullopt : std::optional(command.body());
}

void answers(PlayedHost& host, const Case& command, std::optional<Dictionary> body) {
  const ExchangeRecord reply = host.ask(command.name, std::move(body));
  requireDone(reply);
  if (!command.isKind(reply.body->find("result")))
    broken(std::string("the result of ") + command.name + " is " +
           (reply.body->find("result") == nullptr ? "missing" : "of another kind"));
}

Dictionary noParameters() {
  return {};
}
Dictionary filtered() {
  return {{"url", Subject::page()}, {"enabled", true}};  // as it is by itself
}
Dictionary ruleText() {
  return {{"ruleText", Subject::rule()}};
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
    {"setHttpFilteringStatus", "none", isNone, filtered},
    {"setHttpsFilteringStatus", "a boolean", is<bool>, filtered},
    {"addRule", "none", isNone, ruleText},
    {"removeRule", "none", isNone, ruleText},
    {"removeCustomRules", "none", isNone, page},
    {"reportSite", "a text", is<std::string>, report},
    {"openFilteringLog", "none", isNone, nullptr},
    {"openSettings", "none", isNone, nullptr},
    {"updateApp", "none", isNone, nullptr},
};

void change(Bench& bench, const Case& command) {
  PlayedHost host(bench);
  const bool isRule = std::string_view(command.name).ends_with("Rule");
  const Afterwards remove(bench, [&] {
    if (isRule) (void)host.ask("removeRule", ruleText());
  });
  if (std::string_view(command.name) == "removeRule") requireDone(host.ask("addRule", ruleText()));
  answers(host, command, bodyOf(command));
}

void setProtection(Bench& bench) {
  PlayedHost host(bench);
  const bool before = Protection::of(host);
  const Afterwards restore(bench, [&] { Protection::set(host, before); });
  for (const bool enabled : {!before, before})
    answers(host, {"setProtectionStatus", "none", isNone, noParameters},
            Dictionary{{"enabled", enabled}});
}

Point pointOf(const Case& command, Point::Needs needs, std::function<void(Bench&)> examine) {
  return {std::string("command-") + command.name,
          std::string("The command ") + command.name + " is answered by result: " + command.kind +
              (command.isKind == isNone ? ", an empty dictionary" : ""),
          needs, std::move(examine)};
}

}  // namespace

Points commandPoints() {
  using Needs = Point::Needs;
  Points points;
  for (const Case& command : reading)
    points.push_back(pointOf(command, Needs::answers, [&command](Bench& bench) {
      PlayedHost host(bench);
      answers(host, command, bodyOf(command));
    }));
  points.push_back(pointOf({"setProtectionStatus", "none", isNone, noParameters}, Needs::changes,
                           setProtection));
  for (const Case& command : changing)
    points.push_back(
        pointOf(command, Needs::changes, [&command](Bench& bench) { change(bench, command); }));
  return points;
}

}  // namespace corvane::Nmctl::MainAppCheck
