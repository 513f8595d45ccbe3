#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace corvane::RequestProcessing {

/// A parameter that a command needs, and the kind of its JSON value.
struct RequiredParameter {
  enum class Kind { text, integer, flag };

  std::string_view name;
  Kind kind;
};

/// The commands that the browser's extension sends, in the order of the table.
enum class CommandId {
  getCurrentAppState,
  init,
  getCurrentFilteringState,
  setProtectionStatus,
  setFilteringStatus,
  addRule,
  removeRule,
  removeCustomRules,
  openOriginalCert,
  reportSite,
  openFilteringLog,
  openSettings,
  updateApp,
};

/// One command as the extension knows it.
struct BrowserCommand {
  CommandId id;
  std::string_view type;  ///< the request's "type"
  std::span<const RequiredParameter> parameters;
  bool changesState;  ///< the reply waits for the main application to announce its new state
};

namespace detail {
using Kind = RequiredParameter::Kind;
inline constexpr RequiredParameter version[] = {{"apiVersion", Kind::text}};
inline constexpr RequiredParameter page[] = {
    {"forceStartApp", Kind::flag}, {"url", Kind::text}, {"port", Kind::integer}};
inline constexpr RequiredParameter protection[] = {{"isEnabled", Kind::flag}};
inline constexpr RequiredParameter filtering[] = {
    {"url", Kind::text}, {"isEnabled", Kind::flag}, {"isHttpsEnabled", Kind::flag}};
inline constexpr RequiredParameter rule[] = {{"ruleText", Kind::text}};
inline constexpr RequiredParameter address[] = {{"url", Kind::text}};
inline constexpr RequiredParameter server[] = {{"domain", Kind::text}, {"port", Kind::integer}};
inline constexpr RequiredParameter site[] = {
    {"url", Kind::text}, {"referrer", Kind::text}, {"userAgent", Kind::text}};
}  // namespace detail

/// All commands: the one place that says what they are called and what they need.
inline constexpr std::array<BrowserCommand, 13> browserCommands = {{
    {CommandId::getCurrentAppState, "getCurrentAppState", {}, false},
    {CommandId::init, "init", detail::version, false},
    {CommandId::getCurrentFilteringState, "getCurrentFilteringState", detail::page, false},
    {CommandId::setProtectionStatus, "setProtectionStatus", detail::protection, true},
    {CommandId::setFilteringStatus, "setFilteringStatus", detail::filtering, true},
    {CommandId::addRule, "addRule", detail::rule, false},
    {CommandId::removeRule, "removeRule", detail::rule, false},
    {CommandId::removeCustomRules, "removeCustomRules", detail::address, true},
    {CommandId::openOriginalCert, "openOriginalCert", detail::server, false},
    {CommandId::reportSite, "reportSite", detail::site, false},
    {CommandId::openFilteringLog, "openFilteringLog", {}, false},
    {CommandId::openSettings, "openSettings", {}, false},
    {CommandId::updateApp, "updateApp", {}, false},
}};

/// All names that commands read in "parameters".
inline constexpr std::array<std::string_view, 10> parameterNames = {
    "apiVersion",     "forceStartApp", "url",    "port",     "isEnabled",
    "isHttpsEnabled", "ruleText",      "domain", "referrer", "userAgent"};

/// The place of `name` among them; their number when it is none of them.
constexpr std::size_t indexOfParameter(std::string_view name) {
  std::size_t index = 0;
  while (index < parameterNames.size() && parameterNames[index] != name) ++index;
  return index;
}

static_assert(std::all_of(browserCommands.begin(), browserCommands.end(),
                          [](const BrowserCommand& command) {
                            return std::all_of(command.parameters.begin(), command.parameters.end(),
                                               [](const RequiredParameter& parameter) {
                                                 return indexOfParameter(parameter.name) <
                                                        parameterNames.size();
                                               });
                          }),
              "each parameter of a command is among the names");

/// The command whose type is exactly `type`; nullptr when there is none.
constexpr const BrowserCommand* findBrowserCommand(std::string_view type) {
  for (const BrowserCommand& command : browserCommands)
    if (command.type == type) return &command;
  return nullptr;
}

}  // namespace corvane::RequestProcessing
