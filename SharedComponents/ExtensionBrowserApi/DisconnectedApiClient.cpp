#include "SharedComponents/ExtensionBrowserApi/DisconnectedApiClient.h"

namespace corvane {

DisconnectedApiClient::Error DisconnectedApiClient::timeout() const {
  const auto error = ExtensionBrowserApiErrorCode::linkTimeout();
  VCLogError({"SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient",
              "through(action:body:reply:)"},
             "%@", error);
  return error;
}

void DisconnectedApiClient::appState(ResultReply<EBAAppStateResponse> reply) {
  reply(std::nullopt, timeout());
}

void DisconnectedApiClient::getCurrentFilteringState(
    const std::string& /*url*/, std::int64_t /*port*/, const std::string& /*appName*/,
    ResultReply<EBACurrentFilteringStateResponse> reply) {
  reply(std::nullopt, timeout());
}

void DisconnectedApiClient::setProtectionStatus(bool /*isEnabled*/, ErrorReply reply) {
  reply(timeout());
}

void DisconnectedApiClient::setHttpFilteringStatus(const std::string& /*url*/, bool /*isEnabled*/,
                                                   ErrorReply reply) {
  reply(timeout());
}

void DisconnectedApiClient::setHttpsFilteringStatus(const std::string& /*url*/, bool /*isEnabled*/,
                                                    UniqueFunction<void(bool, Error)> reply) {
  reply(false, timeout());
}

void DisconnectedApiClient::addRule(const std::string& /*ruleText*/, ErrorReply reply) {
  reply(timeout());
}

void DisconnectedApiClient::removeRule(const std::string& /*ruleText*/, ErrorReply reply) {
  reply(timeout());
}

void DisconnectedApiClient::removeCustomRules(const std::string& /*url*/, ErrorReply reply) {
  reply(timeout());
}

void DisconnectedApiClient::openOriginalCert(const std::string& /*domain*/, std::int64_t /*port*/,
                                             const std::string& /*appName*/, ErrorReply reply) {
  reply(timeout());
}

void DisconnectedApiClient::reportSite(const std::string& /*url*/, const std::string& /*referrer*/,
                                       const std::string& /*userAgent*/,
                                       ResultReply<std::string> reply) {
  reply(std::nullopt, timeout());
}

void DisconnectedApiClient::openFilteringLog(ErrorReply reply) {
  reply(timeout());
}

void DisconnectedApiClient::openSettings(ErrorReply reply) {
  reply(timeout());
}

void DisconnectedApiClient::updateApp(ErrorReply reply) {
  reply(timeout());
}

}  // namespace corvane
