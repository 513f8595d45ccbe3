#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace corvane::RequestProcessing {

/// The members that commands read in "parameters".
enum class Parameter {
  apiVersion,
  forceStartApp,
  url,
  port,
  isEnabled,
  isHttpsEnabled,
  ruleText,
  domain,
  referrer,
  userAgent,
};

/// Their names, in the same order.
inline constexpr std::array<std::string_view, 10> parameterNames = {
    "apiVersion",     "forceStartApp", "url",    "port",     "isEnabled",
    "isHttpsEnabled", "ruleText",      "domain", "referrer", "userAgent"};

/// The parameter that `name` is the name of, if it is one.
constexpr std::optional<Parameter> findParameter(std::string_view name) {
  for (std::size_t i = 0; i < parameterNames.size(); ++i)
    if (parameterNames[i] == name) return static_cast<Parameter>(i);
  return std::nullopt;
}

/// A parameter that a command needs, and the kind of its JSON value.
struct RequiredParameter {
  enum class Kind { text, integer, flag };

  Parameter parameter;
  Kind kind;

  [[nodiscard]] constexpr std::string_view name() const {
    return parameterNames[static_cast<std::size_t>(parameter)];
  }
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
inline constexpr RequiredParameter version[] = {{Parameter::apiVersion, Kind::text}};
inline constexpr RequiredParameter page[] = {{Parameter::forceStartApp, Kind::flag},
                                             {Parameter::url, Kind::text},
                                             {Parameter::port, Kind::integer}};
inline constexpr RequiredParameter protection[] = {{Parameter::isEnabled, Kind::flag}};
inline constexpr RequiredParameter filtering[] = {{Parameter::url, Kind::text},
                                                  {Parameter::isEnabled, Kind::flag},
                                                  {Parameter::isHttpsEnabled, Kind::flag}};
inline constexpr RequiredParameter rule[] = {{Parameter::ruleText, Kind::text}};
inline constexpr RequiredParameter address[] = {{Parameter::url, Kind::text}};
inline constexpr RequiredParameter server[] = {{Parameter::domain, Kind::text},
                                               {Parameter::port, Kind::integer}};
inline constexpr RequiredParameter site[] = {{Parameter::url, Kind::text},
                                             {Parameter::referrer, Kind::text},
                                             {Parameter::userAgent, Kind::text}};
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

/// The command whose type is exactly `type`; nullptr when there is none.
constexpr const BrowserCommand* findBrowserCommand(std::string_view type) {
  for (const BrowserCommand& command : browserCommands)
    if (command.type == type) return &command;
  return nullptr;
}

}  // namespace corvane::RequestProcessing
