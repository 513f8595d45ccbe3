#pragma once

#include <optional>
#include <string_view>

/// The words that host and main application share: names of commands, keys of their parameters,
/// states of a page's original certificate. They are case-sensitive and stand for themselves in
/// records and bodies. What the browser sends as "type" is a vocabulary of its own.
namespace corvane::ExtensionBrowserApiConstants {

/// The commands of the main application's interface.
enum Command {
  apiCommandAppState,
  apiCommandGetCurrentFilteringState,
  apiCommandSetProtectionStatus,
  apiCommandSetHttpFilteringStatus,
  apiCommandSetHttpsFilteringStatus,
  apiCommandAddRule,
  apiCommandRemoveRule,
  apiCommandRemoveCustomRules,
  apiCommandOpenOriginalCert,
  apiCommandReportSite,
  apiCommandOpenFilteringLog,
  apiCommandOpenSettings,
  apiCommandUpdateApp,
};

/// Keys of request and response bodies.
enum class ApiCommandParam {
  result,
  url,
  port,
  app,
  enabled,
  ruleText,
  domain,
  referrer,
  userAgent,
  error
};

/// States of a page's original certificate.
enum class CertStatus { valid, invalid, bypassed, notfound };

/// The word of a case; one table says it, and the case's ordinal is its place there.
std::string_view rawValue(Command command);
std::string_view rawValue(ApiCommandParam param);
std::string_view rawValue(CertStatus status);

/// The operation of the main application's interface that sends `command`, as traces name it, for
/// example "addRule(_:reply:)". Lives for ever.
const char* operationName(Command command);

/// The case whose word is exactly `word`, or nothing.
std::optional<Command> commandFromRawValue(std::string_view word);
std::optional<ApiCommandParam> apiCommandParamFromRawValue(std::string_view word);
std::optional<CertStatus> certStatusFromRawValue(std::string_view word);

/// The key of a parameter, for code that does not use the enumeration.
inline std::string_view browserApiCommandParam(ApiCommandParam param) {
  return rawValue(param);
}

}  // namespace corvane::ExtensionBrowserApiConstants
