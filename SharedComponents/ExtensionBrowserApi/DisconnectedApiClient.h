#pragma once

#include <string>

#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiProtocol.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

/// The main application's interface when there is no link to it: every operation is answered at
/// once, on the caller's thread, with `linkTimeout` and an error line, as a link answers that
/// nobody picks up. This build has no other client yet.
class DisconnectedApiClient final : public ExtensionBrowserApiProtocol, private VCLog {
 public:
  void appState(ResultReply<EBAAppStateResponse> reply) override;
  void getCurrentFilteringState(const std::string& url, std::int64_t port,
                                const std::string& appName,
                                ResultReply<EBACurrentFilteringStateResponse> reply) override;
  void setProtectionStatus(bool isEnabled, ErrorReply reply) override;
  void setHttpFilteringStatus(const std::string& url, bool isEnabled, ErrorReply reply) override;
  void setHttpsFilteringStatus(const std::string& url, bool isEnabled,
                               UniqueFunction<void(bool, Error)> reply) override;
  void addRule(const std::string& ruleText, ErrorReply reply) override;
  void removeRule(const std::string& ruleText, ErrorReply reply) override;
  void removeCustomRules(const std::string& url, ErrorReply reply) override;
  void openOriginalCert(const std::string& domain, std::int64_t port, const std::string& appName,
                        ErrorReply reply) override;
  void reportSite(const std::string& url, const std::string& referrer, const std::string& userAgent,
                  ResultReply<std::string> reply) override;
  void openFilteringLog(ErrorReply reply) override;
  void openSettings(ErrorReply reply) override;
  void updateApp(ErrorReply reply) override;

 private:
  Error timeout() const;
};

}  // namespace corvane
