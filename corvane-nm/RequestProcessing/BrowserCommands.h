#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace corvane::RequestProcessing {

/// The members of a message's "parameters" that some command reads. All others are ignored.
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

/// The JSON names of the parameters, in the order of `Parameter`. Case-sensitive.
inline constexpr std::array<std::string_view, 10> parameterNames = {
    "apiVersion",     "forceStartApp", "url",    "port",     "isEnabled",
    "isHttpsEnabled", "ruleText",      "domain", "referrer", "userAgent"};

/// Returns the parameter called `name`, or nothing if no command reads such a member.
constexpr std::optional<Parameter> findParameter(std::string_view name) {
  for (std::size_t i = 0; i < parameterNames.size(); ++i)
    if (parameterNames[i] == name) return static_cast<Parameter>(i);
  return std::nullopt;
}

/// A parameter without which a command's reply is an error, and the required kind of its JSON
/// value. No value is converted to another kind.
struct RequiredParameter {
  enum class Kind {
    text,     ///< a string
    integer,  ///< a number without fraction or exponent that fits in 64 signed bits
    flag      ///< true or false
  };

  Parameter parameter;
  Kind kind;

  /// Its JSON name.
  [[nodiscard]] constexpr std::string_view name() const {
    return parameterNames[static_cast<std::size_t>(parameter)];
  }
};

/// The commands that the browser's extension sends, in the order of `browserCommands`.
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

/// One command as the extension sends it.
struct BrowserCommand {
  CommandId id;
  std::string_view type;                          ///< the message's "type"; case-sensitive
  std::span<const RequiredParameter> parameters;  ///< all that it requires
  bool changesState;  ///< the reply waits until the main application announces its new state
};

/// The lists of parameters that the table below refers to.
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

/// All commands: the only place that defines their names and parameters. Handlers, and tools that
/// send requests, use this table.
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

/// Returns the command whose type is exactly `type`, or nullptr if there is none. The result is
/// valid for ever.
constexpr const BrowserCommand* findBrowserCommand(std::string_view type) {
  for (const BrowserCommand& command : browserCommands)
    if (command.type == type) return &command;
  return nullptr;
}

}  // namespace corvane::RequestProcessing
