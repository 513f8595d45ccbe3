#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "tools/corvane-nmctl/MainAppCheck/PlayedHost.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/MainAppCheck/Replied.h"
#include "tools/corvane-nmctl/MainAppCheck/Subject.h"

/// What is to be refused with an error object.
namespace corvane::Nmctl::MainAppCheck {
namespace {

/// `body` without each of its keys in turn.
std::vector<Dictionary> lacking(const Dictionary& body) {
  std::vector<Dictionary> bodies;
  for (const DictionaryEntry& left : body) {
    Dictionary rest;
    for (const DictionaryEntry& entry : body)
      if (entry.key != left.key) rest.append(entry.key, entry.value);
    bodies.push_back(std::move(rest));
  }
  return bodies;
}

/// `body` with each of its values in turn of kinds that are near, and wrong.
std::vector<Dictionary> mistaken(const Dictionary& body) {
  std::vector<Dictionary> bodies;
  for (const DictionaryEntry& entry : body)
    for (const Value& other :
         {Value(1), Value(true), Value(1.0), Value("1"), Value(Dictionary()), Value()}) {
      const bool isSameKind =
          (other.as<bool>() != nullptr && entry.value.as<bool>() != nullptr) ||
          (other.as<std::int64_t>() != nullptr && entry.value.as<std::int64_t>() != nullptr) ||
          (other.as<std::string>() != nullptr && entry.value.as<std::string>() != nullptr);
      if (isSameKind) continue;
      bodies.push_back(body);
      bodies.back().set(entry.key, other);
    }
  return bodies;
}

using Body = std::optional<Dictionary>;
using Undo = std::function<void(PlayedHost&, const Body&)>;

/// Requires that the request is refused; `undo` takes back what it may have done, if it is not.
void requireError(Bench& bench, const std::string& name, const Body& body, const std::string& why,
                  const Undo& undo = nullptr) {
  bool isRefused = false;
  const Afterwards after(bench, "what " + name + " " + why + " has done may stay", [&] {
    PlayedHost last(bench);
    if (!isRefused && undo) undo(last, body);
  });
  isRefused = refusalIn(PlayedHost(bench).ask(name, body)) != nullptr;
  if (!isRefused) broken(name + " " + why + " was not refused");
}

void unknownCommand(Bench& bench) {
  requireError(bench, "corvaneNmctlUnknown", Dictionary(), "(which is no command)");
}

void missing(Bench& bench, const std::string& name, const Dictionary& body,
             const Undo& undo = nullptr) {
  for (const Dictionary& one : lacking(body))
    requireError(bench, name, one, "without a parameter", undo);
  requireError(bench, name, std::nullopt, "without a body", undo);
}

void wrongKind(Bench& bench, const std::string& name, const Dictionary& body,
               const Undo& undo = nullptr) {
  for (const Dictionary& one : mistaken(body))
    requireError(bench, name, one, "with a parameter of another kind", undo);
}

/// Not removeCustomRules: taken for one without an address it might remove all rules of the user.
void changes(Bench& bench) {
  const std::string& page = Subject::page();
  PlayedHost host(bench);
  const Undo restore = [isProtected = protectionOf(host)](PlayedHost& last, const Body&) {
    setProtection(last, isProtected);
  };
  const auto filter = [&page](const char* name) -> Undo {
    return [name, &page](PlayedHost& last, const Body&) {
      requireDone(last.ask(name, Dictionary{{"url", page}, {"enabled", true}}));
    };
  };
  const Undo remove = [](PlayedHost& last, const Body& added) {
    requireDone(last.ask("removeRule", added));  // it makes the same text of it
  };
  const std::tuple<const char*, Dictionary, Undo> commands[] = {
      {"setProtectionStatus", {{"enabled", true}}, restore},
      {"setHttpFilteringStatus",
       {{"url", page}, {"enabled", true}},
       filter("setHttpFilteringStatus")},
      {"setHttpsFilteringStatus",
       {{"url", page}, {"enabled", true}},
       filter("setHttpsFilteringStatus")},
      {"addRule", {{"ruleText", Subject::rule()}}, remove},
      {"removeRule", {{"ruleText", Subject::rule()}}, nullptr},
      {"openOriginalCert",
       {{"domain", Subject::domain()}, {"port", Subject::port}, {"app", Subject::app}},
       nullptr},
      {"reportSite", {{"url", page}, {"referrer", ""}, {"userAgent", Subject::app}}, nullptr},
  };
  for (const auto& [name, body, undo] : commands) {
    missing(bench, name, body, undo);
    wrongKind(bench, name, body, undo);
  }
}

void unknownRule(Bench& bench) {
  requireError(bench, "removeRule", Dictionary{{"ruleText", "||no." + Subject::domain() + "^"}},
               "of a rule that is not there");
}

void unknownCertificate(Bench& bench) {
  requireError(
      bench, "openOriginalCert",
      Dictionary{
          {"domain", "no." + Subject::domain()}, {"port", Subject::port}, {"app", Subject::app}},
      "for a site that was never asked about");
}

}  // namespace

Points refusalPoints() {
  using Needs = Point::Needs;
  return {
      {"error-unknown-command", "Refuse with an error object what is not known: a command.",
       Needs::answers, unknownCommand},
      {"error-missing-parameter", "Refuse with an error object a parameter that is missing.",
       Needs::answers,
       [](Bench& bench) { missing(bench, "getCurrentFilteringState", Subject::look()); }},
      {"error-wrong-kind", "Refuse with an error object a parameter of another kind.",
       Needs::answers,
       [](Bench& bench) { wrongKind(bench, "getCurrentFilteringState", Subject::look()); }},
      {"error-parameters-of-changes",
       "Refuse with an error object a parameter that is missing or of another kind.",
       Needs::changes, changes},
      {"error-unknown-rule", "Refuse with an error object what is not known: a rule to be removed.",
       Needs::changes, unknownRule},
      {"error-unknown-certificate", "Refuse with an error object what is not known: a certificate.",
       Needs::changes, unknownCertificate},
  };
}

}  // namespace corvane::Nmctl::MainAppCheck
