#include "tools/corvane-nmctl/MainAppCheck/Protection.h"

#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "tools/corvane-nmctl/MainAppCheck/Point.h"
#include "tools/corvane-nmctl/MainAppCheck/Replied.h"

namespace corvane::Nmctl::MainAppCheck::Protection {

bool of(PlayedHost& host) {
  const ExchangeRecord reply = host.ask("appState");
  requireDone(reply);
  const auto* record = reply.body->find<Record>("result");
  const auto state = record == nullptr ? std::nullopt : EBAAppStateResponse::fromRecord(*record);
  if (!state) notShown("the application does not say whether protection is on");
  return state->isProtectionEnabled;
}

void set(PlayedHost& host, bool isEnabled) {
  if (of(host) != isEnabled)
    requireDone(host.ask("setProtectionStatus", Dictionary{{"enabled", isEnabled}}));
}

}  // namespace corvane::Nmctl::MainAppCheck::Protection
