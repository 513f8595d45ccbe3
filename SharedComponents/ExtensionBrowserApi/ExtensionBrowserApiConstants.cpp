#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

namespace corvane::ExtensionBrowserApiConstants {
namespace {

/// One command: its word, and the name of its operation in traces.
struct CommandRow {
  Command command;
  std::string_view word;
  const char* operation;
};

constexpr std::array<CommandRow, 13> commands = {{
    {apiCommandAppState, "appState", "appState(_:)"},
    {apiCommandGetCurrentFilteringState, "getCurrentFilteringState",
     "getCurrentFilteringState(withUrl:port:appName:reply:)"},
    {apiCommandSetProtectionStatus, "setProtectionStatus", "setProtectionStatus(_:reply:)"},
    {apiCommandSetHttpFilteringStatus, "setHttpFilteringStatus",
     "setHttpFilteringStatusWithUrl(_:isEnabled:reply:)"},
    {apiCommandSetHttpsFilteringStatus, "setHttpsFilteringStatus",
     "setHttpsFilteringStatusWithUrl(_:isEnabled:reply:)"},
    {apiCommandAddRule, "addRule", "addRule(_:reply:)"},
    {apiCommandRemoveRule, "removeRule", "removeRule(_:reply:)"},
    {apiCommandRemoveCustomRules, "removeCustomRules", "removeCustomRules(forUrl:reply:)"},
    {apiCommandOpenOriginalCert, "openOriginalCert",
     "openOriginalCert(withDomain:port:appName:reply:)"},
    {apiCommandReportSite, "reportSite", "reportSite(withUrl:referrer:userAgent:reply:)"},
    {apiCommandOpenFilteringLog, "openFilteringLog", "openFilteringLog(reply:)"},
    {apiCommandOpenSettings, "openSettings", "openSettings(reply:)"},
    {apiCommandUpdateApp, "updateApp", "updateApp(reply:)"},
}};

constexpr bool isInOrder() {
  for (std::size_t i = 0; i < commands.size(); ++i)
    if (commands[i].command != static_cast<Command>(i)) return false;
  return true;
}
static_assert(isInOrder(), "a command is found by its ordinal");

// Each table is in the order of its enumeration.
constexpr std::array<std::string_view, 10> paramWords = {
    "result",   "url",    "port",     "app",       "enabled",
    "ruleText", "domain", "referrer", "userAgent", "error",
};
constexpr std::array<std::string_view, 4> certStatusWords = {"valid", "invalid", "bypassed",
                                                             "notfound"};

template <class Case, std::size_t count>
std::optional<Case> caseOf(const std::array<std::string_view, count>& words,
                           std::string_view word) {
  const auto found = std::find(words.begin(), words.end(), word);
  if (found == words.end()) return std::nullopt;
  return static_cast<Case>(std::distance(words.begin(), found));
}

}  // namespace

std::string_view rawValue(Command command) {
  return commands.at(command).word;
}
const char* operationName(Command command) {
  return commands.at(command).operation;
}
std::string_view rawValue(ApiCommandParam param) {
  return paramWords.at(static_cast<std::size_t>(param));
}
std::string_view rawValue(CertStatus status) {
  return certStatusWords.at(static_cast<std::size_t>(status));
}

std::optional<Command> commandFromRawValue(std::string_view word) {
  const auto* const found = std::find_if(commands.begin(), commands.end(),
                                         [&](const CommandRow& row) { return row.word == word; });
  if (found == commands.end()) return std::nullopt;
  return found->command;
}
std::optional<ApiCommandParam> apiCommandParamFromRawValue(std::string_view word) {
  return caseOf<ApiCommandParam>(paramWords, word);
}
std::optional<CertStatus> certStatusFromRawValue(std::string_view word) {
  return caseOf<CertStatus>(certStatusWords, word);
}

}  // namespace corvane::ExtensionBrowserApiConstants
