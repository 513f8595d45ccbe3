#pragma once

#include <optional>
#include <string_view>

/// The vocabulary that the host and the main application share: names of commands, keys of their
/// parameters, states of a certificate. Each word is case-sensitive and is written in records and
/// bodies as it is. The "type" of a browser's message is a vocabulary of its own
/// (corvane-nm/RequestProcessing/BrowserCommands.h). Everything here is constant and thread-safe.
namespace corvane::ExtensionBrowserApiConstants {

/// The commands of the main application's interface, one for each operation of
/// ExtensionBrowserApiProtocol. A request has the word as its name.
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

/// The keys of request and response bodies. A response has `result` or `error`, both or neither;
/// the others are parameters of requests.
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

/// The states of the certificate that a page's server itself presented.
enum class CertStatus { valid, invalid, bypassed, notfound };

/// The word for a case. Valid for ever. Throws std::out_of_range for a number that is no case.
std::string_view rawValue(Command command);
std::string_view rawValue(ApiCommandParam param);
std::string_view rawValue(CertStatus status);

/// The name in traces of the operation that sends `command`, for example "addRule(_:reply:)". Valid
/// for ever.
const char* operationName(Command command);

/// The case whose word is exactly `word`, or nothing. The inverse of rawValue.
std::optional<Command> commandFromRawValue(std::string_view word);
std::optional<ApiCommandParam> apiCommandParamFromRawValue(std::string_view word);
std::optional<CertStatus> certStatusFromRawValue(std::string_view word);

/// The key of a parameter, for code that does not use the enumeration.
inline std::string_view browserApiCommandParam(ApiCommandParam param) {
  return rawValue(param);
}

}  // namespace corvane::ExtensionBrowserApiConstants
