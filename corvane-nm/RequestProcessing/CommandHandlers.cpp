#include "corvane-nm/RequestProcessing/CommandHandlers.h"

#include <chrono>
#include <utility>

#include "Base/NumericText.h"
#include "SharedComponents/Configuration.h"
#include "VCommons/VCSDate.h"
#include "VCommons/VCommonsKit/VCLog.h"
#include "corvane-nm/RequestProcessing/Parameters.h"

namespace corvane::RequestProcessing {
namespace {

/// The version of the extension's interface that this host speaks.
constexpr char supportedApiVersion[] = "1";

using Error = ExtensionBrowserApiProtocol::Error;

/// Puts what the main application reported of itself into `state`. An application that did not
/// answer in time counts as not running, which is no error; gives the error that remains.
Error apply(const std::optional<EBAAppStateResponse>& record, const Error& error, AppState& state) {
  if (record) {
    state.isProtectionEnabled = record->isProtectionEnabled;
    state.locale = record->locale;
  }
  if (error && error->isLinkTimeout()) {
    state.isRunning = false;
    return std::nullopt;
  }
  return error;
}

/// The reply of an operation that answers with an error or nothing: that is the outcome.
ExtensionBrowserApiProtocol::ErrorReply answering(Work work) {
  return [work = std::move(work)](const Error& error) mutable {
    work->response.status = ResponseStatus::fromClientError(error);
    WorkingReply::send(std::move(work));
  };
}

JsonObject dictionary(const EBACurrentFilteringStateResponse& state) {
  return {{"isFilteringEnabled", state.isFilteringEnabled},
          {"isHttpsFilteringEnabled", state.isHttpsFilteringEnabled},
          {"isPageFilteredByUserFilter", state.isPageFilteredByUserFilter},
          {"blockedAdsCount", state.blockedAdsCount},
          {"totalBlockedCount", state.totalBlockedCount},
          {"originalCertIssuer", state.originalCertIssuer},
          {"originalCertStatus", state.originalCertStatus}};
}

}  // namespace

AppState CommandHandlers::defaultState() const {
  AppState state;
  state.isRunning = environment_.isMainAppRunning();
  state.lastCheckTime = VCSDate::iso8601String(std::chrono::system_clock::now());
  return state;
}

/// Makes `work` the answer that a request with unusable parameters gets, its serial number taken.
void CommandHandlers::preset(WorkingReply& work) {
  work.response.id = serial_.takeNext();
  work.response.status = ResponseStatus::error(ErrorText::invalidParameters);
  work.response.appState = defaultState();
}

/// Sends an answer, and takes its serial number now unless that was done at the start.
void CommandHandlers::finish(Work work) {
  if (work->response.id == 0) work->response.id = serial_.takeNext();
  WorkingReply::send(std::move(work));
}

/// Presets the answer, reads the main application's state into it when that runs, and goes on with
/// `ownStep`; an error of the main application ends the command instead.
void CommandHandlers::withMainAppState(Work work, OwnStep ownStep) {
  preset(*work);
  if (!work->response.appState.isRunning) return ownStep(std::move(work));
  environment_.client.appState(
      [work = std::move(work), ownStep = std::move(ownStep)](
          const std::optional<EBAAppStateResponse>& record, const Error& error) mutable {
        const Error remaining = apply(record, error, work->response.appState);
        if (!remaining) return ownStep(std::move(work));
        work->response.status = ResponseStatus::fromClientError(remaining);
        WorkingReply::send(std::move(work));
      });
}

/// Answers with the status that `work` has so far and the main application's state.
void CommandHandlers::answerWithMainAppState(Work work) {
  work->response.appState = defaultState();
  if (!work->response.appState.isRunning) return finish(std::move(work));
  environment_.client.appState(
      [this, work = std::move(work)](const std::optional<EBAAppStateResponse>& record,
                                     const Error& error) mutable {
        const Error remaining = apply(record, error, work->response.appState);
        if (remaining) work->response.status = ResponseStatus::fromClientError(remaining);
        finish(std::move(work));
      });
}

/// Starts the main application and waits until it announces its state, or for as long as that may
/// take. False when it can't be started.
bool CommandHandlers::launchMainAppAndWait() {
  if (!environment_.launchMainApp()) return false;
  environment_.appStateListener.interceptAppStateListener();
  environment_.appStateListener.waitAppStateNotificationAndReturnListener();
  return true;
}

/// Intercepts the announcement and gives the reply of an operation that changes the main
/// application's state: the answer waits for the announcement. A reply that is destroyed uncalled,
/// because the request was refused, hands the signal back.
ExtensionBrowserApiProtocol::ErrorReply CommandHandlers::announced(Work work) {
  return [this, work = std::move(work),
          interception =
              AppStateInterception(environment_.appStateListener)](const Error& error) mutable {
    interception.release();
    work->response.status = ResponseStatus::fromClientError(error);
    waitAppStateNotificationAndReply(std::move(work));
  };
}

/// Answers with the state that the main application announces, read afresh; at once when the
/// operation has failed.
void CommandHandlers::waitAppStateNotificationAndReply(Work work) {
  constexpr char function[] = "waitAppStateNotificationAndReply(_:_:)";
  VCLogCDebugTrace({"corvane-nm/RequestProcessing", function});
  AppStateListener& listener = environment_.appStateListener;
  if (work->response.status != ResponseStatus::ok()) {
    listener.returnAppStateListener();
    return WorkingReply::send(std::move(work));
  }
  if (listener.waitAndReturnListener(function)) {
    return answerWithMainAppState(std::move(work));
  }
  work->response.status = ResponseStatus::error(ErrorText::appStateTimeout);
  WorkingReply::send(std::move(work));
}

bool CommandHandlers::mayWait(const Request& request) {
  if (request.type == "getCurrentFilteringState")
    return Parameters(request).flag("forceStartApp").value_or(false);
  return request.type == "setProtectionStatus" || request.type == "removeCustomRules";
}

void CommandHandlers::getCurrentAppState(Work work) {
  work->response.status = ResponseStatus::ok();
  answerWithMainAppState(std::move(work));
}

void CommandHandlers::init(Work work) {
  const auto apiVersion = Parameters(work->request).text("apiVersion");
  const bool isValidated = apiVersion && numericallyEqual(*apiVersion, supportedApiVersion);
  work->response.status =
      isValidated ? ResponseStatus::ok() : ResponseStatus::error(ErrorText::versionMismatch);
  work->response.parameters = JsonObject{{"version", Configuration::hostVersion},
                                         {"apiVersion", supportedApiVersion},
                                         {"isValidatedOnHost", isValidated},
                                         {"platform", "mac"}};
  answerWithMainAppState(std::move(work));
}

void CommandHandlers::getCurrentFilteringState(Work work) {
  const auto forceStartApp = Parameters(work->request).flag("forceStartApp");
  if (!forceStartApp) {
    preset(*work);
    return WorkingReply::send(std::move(work));
  }
  if (*forceStartApp && !launchMainAppAndWait()) {
    preset(*work);
    work->response.status = ResponseStatus::error(ErrorText::cannotStartMainApp);
    return WorkingReply::send(std::move(work));
  }
  withMainAppState(std::move(work),
                   [this](Work stated) { askForFilteringState(std::move(stated)); });
}

void CommandHandlers::askForFilteringState(Work work) {
  const Parameters parameters(work->request);
  const auto url = parameters.text("url");
  const auto port = parameters.integer("port");
  if (!url || !port) return WorkingReply::send(std::move(work));
  environment_.client.getCurrentFilteringState(
      *url, *port, environment_.callerApplicationName(),
      [work = std::move(work)](const std::optional<EBACurrentFilteringStateResponse>& record,
                               const Error& error) mutable {
        work->response.parameters = dictionary(record.value_or(EBACurrentFilteringStateResponse{}));
        work->response.status = ResponseStatus::fromClientError(error);
        WorkingReply::send(std::move(work));
      });
}

void CommandHandlers::setProtectionStatus(Work work) {
  preset(*work);
  const auto isEnabled = Parameters(work->request).flag("isEnabled");
  if (!isEnabled) return WorkingReply::send(std::move(work));
  environment_.client.setProtectionStatus(*isEnabled, announced(std::move(work)));
}

void CommandHandlers::setFilteringStatus(Work work) {
  preset(*work);
  const Parameters parameters(work->request);
  const auto url = parameters.text("url");
  const auto isEnabled = parameters.flag("isEnabled");
  const auto isHttpsEnabled = parameters.flag("isHttpsEnabled");
  if (!url || !isEnabled || !isHttpsEnabled) return WorkingReply::send(std::move(work));
  environment_.client.setHttpFilteringStatus(
      *url, *isEnabled,
      [this, work = std::move(work), url = *url,
       https = *isHttpsEnabled](const Error& error) mutable {
        work->response.status = ResponseStatus::fromClientError(error);
        if (!work->response.status.isOk()) return WorkingReply::send(std::move(work));
        environment_.client.setHttpsFilteringStatus(
            url, https,
            [answer = announced(std::move(work))](
                bool /*result*/, const Error& httpsError) mutable { answer(httpsError); });
      });
}

void CommandHandlers::removeCustomRules(Work work) {
  preset(*work);
  const auto url = Parameters(work->request).text("url");
  if (!url) return WorkingReply::send(std::move(work));
  environment_.client.removeCustomRules(*url, announced(std::move(work)));
}

void CommandHandlers::changeRule(Work work, void (Protocol::*operation)(const std::string&,
                                                                        Protocol::ErrorReply)) {
  withMainAppState(std::move(work), [this, operation](Work stated) {
    const auto ruleText = Parameters(stated->request).text("ruleText");
    if (!ruleText) return WorkingReply::send(std::move(stated));
    (environment_.client.*operation)(*ruleText, answering(std::move(stated)));
  });
}

void CommandHandlers::addRule(Work work) {
  changeRule(std::move(work), &Protocol::addRule);
}

void CommandHandlers::removeRule(Work work) {
  changeRule(std::move(work), &Protocol::removeRule);
}

void CommandHandlers::openOriginalCert(Work work) {
  withMainAppState(std::move(work), [this](Work stated) {
    const Parameters parameters(stated->request);
    const auto domain = parameters.text("domain");
    const auto port = parameters.integer("port");
    if (!domain || !port) return WorkingReply::send(std::move(stated));
    environment_.client.openOriginalCert(*domain, *port, environment_.callerApplicationName(),
                                         answering(std::move(stated)));
  });
}

void CommandHandlers::reportSite(Work work) {
  withMainAppState(std::move(work), [this](Work stated) {
    const Parameters parameters(stated->request);
    const auto url = parameters.text("url");
    const auto referrer = parameters.text("referrer");
    const auto userAgent = parameters.text("userAgent");
    if (!url || !referrer || !userAgent) return WorkingReply::send(std::move(stated));
    environment_.client.reportSite(
        *url, *referrer, *userAgent,
        [work = std::move(stated)](const std::optional<std::string>& reportUrl,
                                   const Error& error) mutable {
          work->response.parameters = JsonObject{{"reportUrl", reportUrl.value_or("")}};
          work->response.status = ResponseStatus::fromClientError(error);
          WorkingReply::send(std::move(work));
        });
  });
}

void CommandHandlers::callBare(Work work, void (Protocol::*operation)(Protocol::ErrorReply)) {
  withMainAppState(std::move(work), [this, operation](Work stated) {
    (environment_.client.*operation)(answering(std::move(stated)));
  });
}

void CommandHandlers::openFilteringLog(Work work) {
  callBare(std::move(work), &Protocol::openFilteringLog);
}

void CommandHandlers::openSettings(Work work) {
  callBare(std::move(work), &Protocol::openSettings);
}

void CommandHandlers::updateApp(Work work) {
  callBare(std::move(work), &Protocol::updateApp);
}

}  // namespace corvane::RequestProcessing
