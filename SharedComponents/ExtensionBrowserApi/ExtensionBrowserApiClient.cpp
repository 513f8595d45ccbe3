#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"

#include <utility>

#include "Base/ErrorObject.h"
#include "Base/Uuid.h"
#include "SharedComponents/SharedResources.h"

namespace corvane {
namespace {

using namespace ExtensionBrowserApiConstants;  // NOLINT(google-build-using-namespace)

constexpr char file[] = "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient";
constexpr char throughFunction[] = "through(action:body:reply:)";

constexpr char requestKey[] = "ExchangeRequestContainer";
constexpr char responseKey[] = "ExchangeResponseContainer";

/// How often the newest reply is read before the exchange counts as failed.
constexpr int readAttempts = 100;

std::string key(ApiCommandParam param) {
  return std::string(rawValue(param));
}

/// The result in `body`, if it is there and a `T`.
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

/// Takes the reply of an operation that answers with an error or nothing.
auto withoutResult(ExtensionBrowserApiProtocol::ErrorReply reply) {
  return [reply = std::move(reply)](const std::optional<Dictionary>& /*body*/,
                                    const ExtensionBrowserApiProtocol::Error& error) mutable {
    reply(error);
  };
}

}  // namespace

std::shared_ptr<ExtensionBrowserApiClient> ExtensionBrowserApiClient::make() {
  static auto& sharedWorkQueue = *new DispatchQueue("ExtensionBrowserApiClient.sharedWorkQueue");
  static const auto& clientIdentifier = *new std::string(makeUuid());
  return make({SharedResources::exchangeBuffer(), SharedResources::signalling(), sharedWorkQueue,
               clientIdentifier});
}

std::shared_ptr<ExtensionBrowserApiClient> ExtensionBrowserApiClient::make(Link link) {
  // The constructor is private: nobody else makes one that can't be held weakly.
  return std::shared_ptr<ExtensionBrowserApiClient>(new ExtensionBrowserApiClient(std::move(link)));
}

void ExtensionBrowserApiClient::appState(ResultReply<EBAAppStateResponse> reply) {
  VCLogDebugTrace({file, "appState(_:)"});
  through(apiCommandAppState, std::nullopt,
          [reply = std::move(reply)](const Body& body, const Error& error) mutable {
            reply(stateOf<EBAAppStateResponse>(body), error);
          });
}

void ExtensionBrowserApiClient::getCurrentFilteringState(
    const std::string& url, std::int64_t port, const std::string& appName,
    ResultReply<EBACurrentFilteringStateResponse> reply) {
  VCLogDebugTrace({file, "getCurrentFilteringState(withUrl:port:appName:reply:)"});
  through(apiCommandGetCurrentFilteringState,
          Dictionary{{key(ApiCommandParam::url), url},
                     {key(ApiCommandParam::port), port},
                     {key(ApiCommandParam::app), appName}},
          [reply = std::move(reply)](const Body& body, const Error& error) mutable {
            reply(stateOf<EBACurrentFilteringStateResponse>(body), error);
          });
}

void ExtensionBrowserApiClient::setProtectionStatus(bool isEnabled, ErrorReply reply) {
  VCLogDebugTrace({file, "setProtectionStatus(_:reply:)"});
  through(apiCommandSetProtectionStatus, Dictionary{{key(ApiCommandParam::enabled), isEnabled}},
          withoutResult(std::move(reply)));
}

void ExtensionBrowserApiClient::setHttpFilteringStatus(const std::string& url, bool isEnabled,
                                                       ErrorReply reply) {
  VCLogDebugTrace({file, "setHttpFilteringStatusWithUrl(_:isEnabled:reply:)"});
  through(apiCommandSetHttpFilteringStatus,
          Dictionary{{key(ApiCommandParam::url), url}, {key(ApiCommandParam::enabled), isEnabled}},
          withoutResult(std::move(reply)));
}

void ExtensionBrowserApiClient::setHttpsFilteringStatus(const std::string& url, bool isEnabled,
                                                        UniqueFunction<void(bool, Error)> reply) {
  VCLogDebugTrace({file, "setHttpsFilteringStatusWithUrl(_:isEnabled:reply:)"});
  through(apiCommandSetHttpsFilteringStatus,
          Dictionary{{key(ApiCommandParam::url), url}, {key(ApiCommandParam::enabled), isEnabled}},
          [reply = std::move(reply)](const Body& body, const Error& error) mutable {
            const auto* result = resultOf<bool>(body);
            reply(result != nullptr && *result, error);
          });
}

void ExtensionBrowserApiClient::rule(Command action, const std::string& ruleText,
                                     ErrorReply reply) {
  through(action, Dictionary{{key(ApiCommandParam::ruleText), ruleText}},
          withoutResult(std::move(reply)));
}

void ExtensionBrowserApiClient::addRule(const std::string& ruleText, ErrorReply reply) {
  VCLogDebugTrace({file, "addRule(_:reply:)"});
  rule(apiCommandAddRule, ruleText, std::move(reply));
}

void ExtensionBrowserApiClient::removeRule(const std::string& ruleText, ErrorReply reply) {
  VCLogDebugTrace({file, "removeRule(_:reply:)"});
  rule(apiCommandRemoveRule, ruleText, std::move(reply));
}

void ExtensionBrowserApiClient::removeCustomRules(const std::string& url, ErrorReply reply) {
  VCLogDebugTrace({file, "removeCustomRules(forUrl:reply:)"});
  through(apiCommandRemoveCustomRules, Dictionary{{key(ApiCommandParam::url), url}},
          withoutResult(std::move(reply)));
}

void ExtensionBrowserApiClient::openOriginalCert(const std::string& domain, std::int64_t port,
                                                 const std::string& appName, ErrorReply reply) {
  VCLogDebugTrace({file, "openOriginalCert(withDomain:port:appName:reply:)"});
  through(apiCommandOpenOriginalCert,
          Dictionary{{key(ApiCommandParam::domain), domain},
                     {key(ApiCommandParam::port), port},
                     {key(ApiCommandParam::app), appName}},
          withoutResult(std::move(reply)));
}

void ExtensionBrowserApiClient::reportSite(const std::string& url, const std::string& referrer,
                                           const std::string& userAgent,
                                           ResultReply<std::string> reply) {
  VCLogDebugTrace({file, "reportSite(withUrl:referrer:userAgent:reply:)"});
  through(apiCommandReportSite,
          Dictionary{{key(ApiCommandParam::url), url},
                     {key(ApiCommandParam::referrer), referrer},
                     {key(ApiCommandParam::userAgent), userAgent}},
          [reply = std::move(reply)](const Body& body, const Error& error) mutable {
            const auto* result = resultOf<std::string>(body);
            reply(result == nullptr ? std::nullopt : std::optional(*result), error);
          });
}

void ExtensionBrowserApiClient::openFilteringLog(ErrorReply reply) {
  VCLogDebugTrace({file, "openFilteringLog(reply:)"});
  through(apiCommandOpenFilteringLog, std::nullopt, withoutResult(std::move(reply)));
}

void ExtensionBrowserApiClient::openSettings(ErrorReply reply) {
  VCLogDebugTrace({file, "openSettings(reply:)"});
  through(apiCommandOpenSettings, std::nullopt, withoutResult(std::move(reply)));
}

void ExtensionBrowserApiClient::updateApp(ErrorReply reply) {
  VCLogDebugTrace({file, "updateApp(reply:)"});
  through(apiCommandUpdateApp, std::nullopt, withoutResult(std::move(reply)));
}

/// Queues one exchange.
void ExtensionBrowserApiClient::through(Command action, Body body, BodyReply reply) {
  link_.workQueue.asyncLent([weak = weak_from_this(), action, body = std::move(body),
                             reply = std::move(reply)]() mutable {
    if (const auto self = weak.lock()) self->exchange(action, std::move(body), std::move(reply));
  });
}

/// One exchange, on the work queue.
void ExtensionBrowserApiClient::exchange(Command action, Body body, BodyReply reply) {
  VCLogDebugTrace({file, throughFunction});
  std::call_once(classesAreRegistered_, [this] {
    link_.exchange.setRegisteredClasses(
        {&EBACurrentFilteringStateResponse::recordClass, &EBAAppStateResponse::recordClass});
  });
  const auto outcome = request(action, std::move(body));
  if (outcome == Outcome::refused) return;
  if (outcome == Outcome::answered) {
    if (const auto answer = response(action)) return reply(answer->body, errorOf(answer->body));
  }
  const auto error = ExtensionBrowserApiErrorCode::linkTimeout();
  VCLogError({file, throughFunction}, "%@", error);
  link_.exchange.clearExchange(responseName());
  reply(std::nullopt, error);
}

/// Appends the request, tells the main application, and waits until that says that it has answered.
ExtensionBrowserApiClient::Outcome ExtensionBrowserApiClient::request(Command action, Body body) {
  bool isAppended = false;
  const auto append = [&] {
    isAppended = link_.exchange.setExchange(requestKey, link_.clientIdentifier,
                                            std::string(rawValue(action)), std::move(body));
    return isAppended;
  };
  const bool isAnswered =
      link_.signalling.sendRequest(RequestResponseName::exchange, link_.clientIdentifier, append);
  if (!isAppended) return Outcome::refused;
  return isAnswered ? Outcome::answered : Outcome::timedOut;
}

/// The answer to `action`. Answers to other requests of this client that lie on top of it are taken
/// away with it: nobody waits for them any more.
std::optional<ExchangeRecord> ExtensionBrowserApiClient::response(Command action) {
  for (int attempt = 0; attempt < readAttempts; ++attempt) {
    auto record = link_.exchange.getExchange(responseName(), link_.clientIdentifier);
    if (record && record->name == rawValue(action)) return record;
  }
  return std::nullopt;
}

std::string ExtensionBrowserApiClient::responseName() const {
  return std::string(responseKey) + "." + link_.clientIdentifier;
}

ExtensionBrowserApiClient::Error ExtensionBrowserApiClient::errorOf(const Body& body) const {
  const auto* error = body ? body->find<ErrorObject>(rawValue(ApiCommandParam::error)) : nullptr;
  if (error == nullptr) return std::nullopt;
  VCLogError({file, throughFunction}, "Error occured: %@", *error);
  return ExtensionBrowserApiErrorCode::other(error->description());
}

}  // namespace corvane
