#include <string>
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

void requireRefused(PlayedHost& host, const std::string& name, const Dictionary& body,
                    const std::string& why) {
  if (refusalIn(host.ask(name, body)) == nullptr) broken(name + " " + why + " was not refused");
}

void unknownCommand(Bench& bench) {
  PlayedHost host(bench);
  requireRefused(host, "corvaneNmctlUnknown", {}, "(which is no command)");
}

void missing(PlayedHost& host, const std::string& name, const Dictionary& body) {
  for (const Dictionary& one : lacking(body))
    requireRefused(host, name, one, "without a parameter");
  if (refusalIn(host.ask(name)) == nullptr) broken(name + " without a body was not refused");
}

void wrongKind(PlayedHost& host, const std::string& name, const Dictionary& body) {
  for (const Dictionary& one : mistaken(body))
    requireRefused(host, name, one, "with a parameter of another kind");
}

void changes(Bench& bench) {
  PlayedHost host(bench);
  const std::string& page = Subject::page();
  const std::pair<const char*, Dictionary> commands[] = {
      {"setProtectionStatus", {{"enabled", true}}},
      {"setHttpFilteringStatus", {{"url", page}, {"enabled", true}}},
      {"setHttpsFilteringStatus", {{"url", page}, {"enabled", true}}},
      {"addRule", {{"ruleText", Subject::rule()}}},
      {"removeRule", {{"ruleText", Subject::rule()}}},
      {"removeCustomRules", {{"url", page}}},
      {"openOriginalCert",
       {{"domain", Subject::domain()}, {"port", Subject::port}, {"app", Subject::app}}},
      {"reportSite", {{"url", page}, {"referrer", ""}, {"userAgent", Subject::app}}},
  };
  for (const auto& [name, body] : commands) {
    missing(host, name, body);
    wrongKind(host, name, body);
  }
}

void unknownRule(Bench& bench) {
  PlayedHost host(bench);
  requireRefused(host, "removeRule", {{"ruleText", "||no." + Subject::domain() + "^"}},
                 "of a rule that is not there");
}

void unknownCertificate(Bench& bench) {
  PlayedHost host(bench);
  requireRefused(
      host, "openOriginalCert",
      {{"domain", "no." + Subject::domain()}, {"port", Subject::port}, {"app", Subject::app}},
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
       [](Bench& bench) {
         PlayedHost host(bench);
         missing(host, "getCurrentFilteringState", Subject::look());
       }},
      {"error-wrong-kind", "Refuse with an error object a parameter of another kind.",
       Needs::answers,
       [](Bench& bench) {
         PlayedHost host(bench);
         wrongKind(host, "getCurrentFilteringState", Subject::look());
       }},
      {"error-parameters-of-changes",
       "Refuse with an error object a parameter that is missing or of another kind, in every "
       "command that has any.",
       Needs::changes, changes},
      {"error-unknown-rule", "Refuse with an error object what is not known: a rule to be removed.",
       Needs::changes, unknownRule},
      {"error-unknown-certificate", "Refuse with an error object what is not known: a certificate.",
       Needs::changes, unknownCertificate},
  };
}

}  // namespace corvane::Nmctl::MainAppCheck
