#include "tools/corvane-nmctl/MainAppCheck/Replied.h"

#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"

namespace corvane::Nmctl::MainAppCheck {

const ErrorObject* refusalIn(const ExchangeRecord& reply) {
  if (!reply.body) broken("the reply to " + reply.name + " has no body");
  for (const DictionaryEntry& entry : *reply.body)
    if (entry.key != "result" && entry.key != "error")
      broken("the reply to " + reply.name + " has the key \"" + entry.key + "\"");
  const Value* error = reply.body->find("error");
  if (error == nullptr) return nullptr;
  const auto* object = error->as<ErrorObject>();
  if (object == nullptr)
    broken("what stands under \"error\" in the reply to " + reply.name + " is no error object");
  if (reply.body->find("result") != nullptr)
    broken("the reply to " + reply.name + " has both a result and an error");
  return object;
}

void requireDone(const ExchangeRecord& reply) {
  const ErrorObject* error = refusalIn(reply);
  if (error == nullptr) return;
  const std::string seen = reply.name + " was refused: " + error->description();
  if (reply.name == "appState") broken(seen);
  notShown(seen);
}

void requireNoResult(const ExchangeRecord& reply) {
  requireDone(reply);
  if (reply.body->find("result") != nullptr) broken("the reply to " + reply.name + " has a result");
}

bool protectionOf(PlayedHost& host) {
  const ExchangeRecord reply = host.ask("appState");
  requireDone(reply);
  const auto* record = reply.body->find<Record>("result");
  const auto state = record == nullptr ? std::nullopt : EBAAppStateResponse::fromRecord(*record);
  if (!state) notShown("the application does not say whether protection is on");
  return state->isProtectionEnabled;
}

void setProtection(PlayedHost& host, bool isEnabled) {
  if (protectionOf(host) != isEnabled)
    requireDone(host.ask("setProtectionStatus", Dictionary{{"enabled", isEnabled}}));
}

}  // namespace corvane::Nmctl::MainAppCheck
