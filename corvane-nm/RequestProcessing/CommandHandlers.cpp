#include "corvane-nm/RequestProcessing/CommandHandlers.h"

#include <chrono>
#include <utility>

#include "Base/NumericText.h"
#include "Platform/Clocks.h"
#include "SharedComponents/Configuration.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane::RequestProcessing {
namespace {

/// The version of the extension's interface that this host implements.
constexpr char supportedApiVersion[] = "1";

using Error = ExtensionBrowserApiProtocol::Error;

/// Copies the reported state of the main application into `state`. A timeout means that the
/// application does not run, which is not an error. Returns the error, unless it was a timeout.
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

std::vector<ReplyParameter> parametersOf(const EBACurrentFilteringStateResponse& state) {
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
  state.lastCheckTime = std::chrono::floor<std::chrono::milliseconds>(Platform::wallNow());
  return state;
}

/// Takes a serial number and sets the reply for a request with invalid parameters, which a handler
/// that gets further overwrites.
void CommandHandlers::presetResponse(WorkingReply& work) {
  work.response.id = serial_.takeNext();
  work.response.status = ResponseStatus::error(ErrorText::invalidParameters);
  work.response.appState = defaultState();
}

/// Sends the reply; takes its serial number now unless the handler did so at its start.
void CommandHandlers::finish(Work work) {
  if (work->response.id == 0) work->response.id = serial_.takeNext();
  WorkingReply::send(std::move(work));
}

/// Presets the reply, adds the main application's state if that runs, and continues with `next`. An
/// error of the main application is sent as the reply instead.
void CommandHandlers::withMainAppState(Work work, NextStep next) {
  presetResponse(*work);
  if (!work->response.appState.isRunning) return next(std::move(work));
  environment_.client.appState(
      [work = std::move(work), next = std::move(next)](
          const std::optional<EBAAppStateResponse>& record, const Error& error) mutable {
        const Error remaining = apply(record, error, work->response.appState);
        if (!remaining) return next(std::move(work));
        work->response.status = ResponseStatus::fromClientError(remaining);
        WorkingReply::send(std::move(work));
      });
}

/// Replies with the present status of `work` and the main application's state.
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

/// Starts the main application, waits until it announces its state or the limit passes, and then
/// continues with `next`. No other command starts meanwhile. If the application can't be started,
/// replies with that error.
void CommandHandlers::launchMainAppAndWait(Work work, NextStep next) {
  environment_.launchMainApp([this, work = std::move(work), next = std::move(next),
                              hold = requests_.hold()](bool isStarted) mutable {
    if (!isStarted) {
      presetResponse(*work);
      work->response.status = ResponseStatus::error(ErrorText::cannotStartMainApp);
      return WorkingReply::send(std::move(work));
    }
    environment_.appStateListener.interceptAppStateListener();
    environment_.appStateListener.waitAppStateNotificationAndReturnListener(
        [work = std::move(work), next = std::move(next),
         hold = std::move(hold)](bool /*came*/) mutable { next(std::move(work)); });
  });
}

/// Returns the callback for the last operation of a command: its error, or none, is the outcome.
/// For a command that changes the state, intercepts the announcement, and the reply waits for it.
/// If the callback is destroyed uncalled because the request was rejected, the interception ends.
ExtensionBrowserApiProtocol::ErrorReply CommandHandlers::finalReply(Work work) {
  if (!work->command.changesState) {
    return [work = std::move(work)](const Error& error) mutable {
      work->response.status = ResponseStatus::fromClientError(error);
      WorkingReply::send(std::move(work));
    };
  }
  return [this, work = std::move(work),
          interception =
              AppStateInterception(environment_.appStateListener)](const Error& error) mutable {
    interception.release();
    work->response.status = ResponseStatus::fromClientError(error);
    waitAppStateNotificationAndReply(std::move(work));
  };
}

/// Waits for the announcement of the new state, reads the state and replies with it; replies at
/// once if the operation has failed. No exchange starts during the wait.
void CommandHandlers::waitAppStateNotificationAndReply(Work work) {
  static constexpr char function[] = "waitAppStateNotificationAndReply(_:_:)";
  VCLogCDebugTrace({"corvane-nm/RequestProcessing", function});
  AppStateListener& listener = environment_.appStateListener;
  if (work->response.status != ResponseStatus::ok()) {
    listener.returnAppStateListener();
    return WorkingReply::send(std::move(work));
  }
  listener.waitAndReturnListener(
      function,
      [this, work = std::move(work), hold = environment_.workQueue.hold()](bool came) mutable {
        if (came) return answerWithMainAppState(std::move(work));
        work->response.status = ResponseStatus::error(ErrorText::appStateTimeout);
        WorkingReply::send(std::move(work));
      });
}

void CommandHandlers::start(Work work) {
  switch (work->command.id) {
    case CommandId::getCurrentAppState:
      return getCurrentAppState(std::move(work));
    case CommandId::init:
      return init(std::move(work));
    case CommandId::getCurrentFilteringState:
      return getCurrentFilteringState(std::move(work));
    case CommandId::setProtectionStatus:
      return setProtectionStatus(std::move(work));
    case CommandId::setFilteringStatus:
      return setFilteringStatus(std::move(work));
    case CommandId::addRule:
      return changeRule(std::move(work), &Protocol::addRule);
    case CommandId::removeRule:
      return changeRule(std::move(work), &Protocol::removeRule);
    case CommandId::removeCustomRules:
      return removeCustomRules(std::move(work));
    case CommandId::openOriginalCert:
      return openOriginalCert(std::move(work));
    case CommandId::reportSite:
      return reportSite(std::move(work));
    case CommandId::openFilteringLog:
      return callWithoutParameters(std::move(work), &Protocol::openFilteringLog);
    case CommandId::openSettings:
      return callWithoutParameters(std::move(work), &Protocol::openSettings);
    case CommandId::updateApp:
      return callWithoutParameters(std::move(work), &Protocol::updateApp);
  }
}

void CommandHandlers::getCurrentAppState(Work work) {
  work->response.status = ResponseStatus::ok();
  answerWithMainAppState(std::move(work));
}

void CommandHandlers::init(Work work) {
  const auto* const apiVersion = work->parameters().text(Parameter::apiVersion);
  const bool isValidated =
      apiVersion != nullptr && numericallyEqual(*apiVersion, supportedApiVersion);
  work->response.status =
      isValidated ? ResponseStatus::ok() : ResponseStatus::error(ErrorText::versionMismatch);
  work->response.parameters = {{"version", Configuration::hostVersion},
                               {"apiVersion", supportedApiVersion},
                               {"isValidatedOnHost", isValidated},
                               {"platform", "mac"}};
  answerWithMainAppState(std::move(work));
}

void CommandHandlers::getCurrentFilteringState(Work work) {
  const bool* const forceStartApp = work->parameters().flag(Parameter::forceStartApp);
  if (forceStartApp == nullptr) {
    presetResponse(*work);
    return WorkingReply::send(std::move(work));
  }
  NextStep ask = [this](Work started) {
    withMainAppState(std::move(started),
                     [this](Work stated) { askForFilteringState(std::move(stated)); });
  };
  if (*forceStartApp) return launchMainAppAndWait(std::move(work), std::move(ask));
  ask(std::move(work));
}

void CommandHandlers::askForFilteringState(Work work) {
  if (!work->isComplete()) return WorkingReply::send(std::move(work));
  const Parameters& parameters = work->parameters();
  environment_.client.getCurrentFilteringState(
      *parameters.text(Parameter::url), *parameters.integer(Parameter::port),
      environment_.callerApplicationName(),
      [work = std::move(work)](const std::optional<EBACurrentFilteringStateResponse>& record,
                               const Error& error) mutable {
        work->response.parameters =
            parametersOf(record.value_or(EBACurrentFilteringStateResponse{}));
        work->response.status = ResponseStatus::fromClientError(error);
        WorkingReply::send(std::move(work));
      });
}

void CommandHandlers::setProtectionStatus(Work work) {
  presetResponse(*work);
  if (!work->isComplete()) return WorkingReply::send(std::move(work));
  const bool isEnabled = *work->parameters().flag(Parameter::isEnabled);
  environment_.client.setProtectionStatus(isEnabled, finalReply(std::move(work)));
}

void CommandHandlers::setFilteringStatus(Work work) {
  presetResponse(*work);
  if (!work->isComplete()) return WorkingReply::send(std::move(work));
  const Parameters& parameters = work->parameters();
  environment_.client.setHttpFilteringStatus(
      *parameters.text(Parameter::url), *parameters.flag(Parameter::isEnabled),
      [this, &parameters, work = std::move(work)](const Error& error) mutable {
        work->response.status = ResponseStatus::fromClientError(error);
        if (!work->response.status.isOk()) return WorkingReply::send(std::move(work));
        environment_.client.setHttpsFilteringStatus(
            *parameters.text(Parameter::url), *parameters.flag(Parameter::isHttpsEnabled),
            [answer = finalReply(std::move(work))](
                bool /*result*/, const Error& httpsError) mutable { answer(httpsError); });
      });
}

void CommandHandlers::removeCustomRules(Work work) {
  presetResponse(*work);
  if (!work->isComplete()) return WorkingReply::send(std::move(work));
  const std::string& url = *work->parameters().text(Parameter::url);
  environment_.client.removeCustomRules(url, finalReply(std::move(work)));
}

void CommandHandlers::changeRule(Work work, void (Protocol::*operation)(const std::string&,
                                                                        Protocol::ErrorReply)) {
  withMainAppState(std::move(work), [this, operation](Work stated) {
    if (!stated->isComplete()) return WorkingReply::send(std::move(stated));
    const std::string& ruleText = *stated->parameters().text(Parameter::ruleText);
    (environment_.client.*operation)(ruleText, finalReply(std::move(stated)));
  });
}

void CommandHandlers::openOriginalCert(Work work) {
  withMainAppState(std::move(work), [this](Work stated) {
    if (!stated->isComplete()) return WorkingReply::send(std::move(stated));
    const Parameters& parameters = stated->parameters();
    environment_.client.openOriginalCert(
        *parameters.text(Parameter::domain), *parameters.integer(Parameter::port),
        environment_.callerApplicationName(), finalReply(std::move(stated)));
  });
}

void CommandHandlers::reportSite(Work work) {
  withMainAppState(std::move(work), [this](Work stated) {
    if (!stated->isComplete()) return WorkingReply::send(std::move(stated));
    const Parameters& parameters = stated->parameters();
    environment_.client.reportSite(
        *parameters.text(Parameter::url), *parameters.text(Parameter::referrer),
        *parameters.text(Parameter::userAgent),
        [work = std::move(stated)](const std::optional<std::string>& reportUrl,
                                   const Error& error) mutable {
          work->response.parameters = {{"reportUrl", reportUrl.value_or("")}};
          work->response.status = ResponseStatus::fromClientError(error);
          WorkingReply::send(std::move(work));
        });
  });
}

void CommandHandlers::callWithoutParameters(Work work,
                                            void (Protocol::*operation)(Protocol::ErrorReply)) {
  withMainAppState(std::move(work), [this, operation](Work stated) {
    (environment_.client.*operation)(finalReply(std::move(stated)));
  });
}

}  // namespace corvane::RequestProcessing
