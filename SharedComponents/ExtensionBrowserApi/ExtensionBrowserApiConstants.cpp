#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

namespace corvane::ExtensionBrowserApiConstants {
namespace {

// Each table in the order of its enumeration.
constexpr std::array<std::string_view, 13> commandWords = {
    "appState",
    "getCurrentFilteringState",
    "setProtectionStatus",
    "setHttpFilteringStatus",
    "setHttpsFilteringStatus",
    "addRule",
    "removeRule",
    "removeCustomRules",
    "openOriginalCert",
    "reportSite",
    "openFilteringLog",
    "openSettings",
    "updateApp",
};
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
  return commandWords.at(command);
}
std::string_view rawValue(ApiCommandParam param) {
  return paramWords.at(static_cast<std::size_t>(param));
}
std::string_view rawValue(CertStatus status) {
  return certStatusWords.at(static_cast<std::size_t>(status));
}

std::optional<Command> commandFromRawValue(std::string_view word) {
  return caseOf<Command>(commandWords, word);
}
std::optional<ApiCommandParam> apiCommandParamFromRawValue(std::string_view word) {
  return caseOf<ApiCommandParam>(paramWords, word);
}
std::optional<CertStatus> certStatusFromRawValue(std::string_view word) {
  return caseOf<CertStatus>(certStatusWords, word);
}

}  // namespace corvane::ExtensionBrowserApiConstants
