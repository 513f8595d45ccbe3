#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiProtocol.h"

#include <utility>

#include "Base/Record.h"

namespace corvane {
namespace {

using namespace ExtensionBrowserApiConstants;  // NOLINT(google-build-using-namespace)

/// Appends parameters to the body of a request; keys and values alternate in the arguments.
template <class T, class... More>
void append(Dictionary& body, ApiCommandParam param, const T& value, const More&... more) {
  body.append(std::string(rawValue(param)), value);
  if constexpr (sizeof...(more) > 0) append(body, more...);
}

template <class... ParamsAndValues>
Dictionary bodyOf(const ParamsAndValues&... all) {
  Dictionary body;
  body.reserve(sizeof...(all) / 2);
  append(body, all...);
  return body;
}

/// The result in `body`, or nullptr if there is none or it is not a `T`.
template <class T>
const T* resultOf(const std::optional<Dictionary>& body) {
  return body ? body->find<T>(rawValue(ApiCommandParam::result)) : nullptr;
}

/// The state record in `body`, or nothing.
template <class State>
std::optional<State> stateOf(const std::optional<Dictionary>& body) {
  const auto* record = resultOf<Record>(body);
  return record == nullptr ? std::nullopt : State::fromRecord(*record);
}

/// Adapts the reply of an operation without a result, which gets an error or nothing.
auto withoutResult(ExtensionBrowserApiProtocol::ErrorReply reply) {
  return [reply = std::move(reply)](const std::optional<Dictionary>& /*body*/,
                                    const ExtensionBrowserApiProtocol::Error& error) mutable {
    reply(error);
  };
}

}  // namespace

void ExtensionBrowserApiProtocol::appState(ResultReply<EBAAppStateResponse> reply) {
  call(apiCommandAppState, std::nullopt,
       [reply = std::move(reply)](const Body& body, const Error& error) mutable {
         reply(stateOf<EBAAppStateResponse>(body), error);
       });
}

void ExtensionBrowserApiProtocol::getCurrentFilteringState(
    const std::string& url, std::int64_t port, const std::string& appName,
    ResultReply<EBACurrentFilteringStateResponse> reply) {
  call(
      apiCommandGetCurrentFilteringState,
      bodyOf(ApiCommandParam::url, url, ApiCommandParam::port, port, ApiCommandParam::app, appName),
      [reply = std::move(reply)](const Body& body, const Error& error) mutable {
        reply(stateOf<EBACurrentFilteringStateResponse>(body), error);
      });
}

void ExtensionBrowserApiProtocol::setProtectionStatus(bool isEnabled, ErrorReply reply) {
  call(apiCommandSetProtectionStatus, bodyOf(ApiCommandParam::enabled, isEnabled),
       withoutResult(std::move(reply)));
}

void ExtensionBrowserApiProtocol::setHttpFilteringStatus(const std::string& url, bool isEnabled,
                                                         ErrorReply reply) {
  call(apiCommandSetHttpFilteringStatus,
       bodyOf(ApiCommandParam::url, url, ApiCommandParam::enabled, isEnabled),
       withoutResult(std::move(reply)));
}

void ExtensionBrowserApiProtocol::setHttpsFilteringStatus(const std::string& url, bool isEnabled,
                                                          UniqueFunction<void(bool, Error)> reply) {
  call(apiCommandSetHttpsFilteringStatus,
       bodyOf(ApiCommandParam::url, url, ApiCommandParam::enabled, isEnabled),
       [reply = std::move(reply)](const Body& body, const Error& error) mutable {
         const auto* result = resultOf<bool>(body);
         reply(result != nullptr && *result, error);
       });
}

void ExtensionBrowserApiProtocol::addRule(const std::string& ruleText, ErrorReply reply) {
  call(apiCommandAddRule, bodyOf(ApiCommandParam::ruleText, ruleText),
       withoutResult(std::move(reply)));
}

void ExtensionBrowserApiProtocol::removeRule(const std::string& ruleText, ErrorReply reply) {
  call(apiCommandRemoveRule, bodyOf(ApiCommandParam::ruleText, ruleText),
       withoutResult(std::move(reply)));
}

void ExtensionBrowserApiProtocol::removeCustomRules(const std::string& url, ErrorReply reply) {
  call(apiCommandRemoveCustomRules, bodyOf(ApiCommandParam::url, url),
       withoutResult(std::move(reply)));
}

void ExtensionBrowserApiProtocol::openOriginalCert(const std::string& domain, std::int64_t port,
                                                   const std::string& appName, ErrorReply reply) {
  call(apiCommandOpenOriginalCert,
       bodyOf(ApiCommandParam::domain, domain, ApiCommandParam::port, port, ApiCommandParam::app,
              appName),
       withoutResult(std::move(reply)));
}

void ExtensionBrowserApiProtocol::reportSite(const std::string& url, const std::string& referrer,
                                             const std::string& userAgent,
                                             ResultReply<std::string> reply) {
  call(apiCommandReportSite,
       bodyOf(ApiCommandParam::url, url, ApiCommandParam::referrer, referrer,
              ApiCommandParam::userAgent, userAgent),
       [reply = std::move(reply)](const Body& body, const Error& error) mutable {
         const auto* result = resultOf<std::string>(body);
         reply(result == nullptr ? std::nullopt : std::optional(*result), error);
       });
}

void ExtensionBrowserApiProtocol::openFilteringLog(ErrorReply reply) {
  call(apiCommandOpenFilteringLog, std::nullopt, withoutResult(std::move(reply)));
}

void ExtensionBrowserApiProtocol::openSettings(ErrorReply reply) {
  call(apiCommandOpenSettings, std::nullopt, withoutResult(std::move(reply)));
}

void ExtensionBrowserApiProtocol::updateApp(ErrorReply reply) {
  call(apiCommandUpdateApp, std::nullopt, withoutResult(std::move(reply)));
}

}  // namespace corvane
