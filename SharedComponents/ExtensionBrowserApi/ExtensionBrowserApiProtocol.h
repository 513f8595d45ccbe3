#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/UniqueFunction.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiErrorCode.h"

namespace corvane {

/// The thirteen operations that the main application offers to the browser extension. Each returns
/// at once and calls `reply` at most once, later and on the loop: with a result, an error, both or
/// neither. A request that could not even be written gets no call; `reply` is then destroyed
/// uncalled.
class ExtensionBrowserApiProtocol {
 public:
  using Error = std::optional<ExtensionBrowserApiErrorCode>;
  using ErrorReply = UniqueFunction<void(Error)>;
  template <class T>
  using ResultReply = UniqueFunction<void(std::optional<T>, Error)>;

  ExtensionBrowserApiProtocol() = default;
  virtual ~ExtensionBrowserApiProtocol() = default;
  ExtensionBrowserApiProtocol(const ExtensionBrowserApiProtocol&) = delete;
  ExtensionBrowserApiProtocol& operator=(const ExtensionBrowserApiProtocol&) = delete;

  virtual void appState(ResultReply<EBAAppStateResponse> reply) = 0;
  virtual void getCurrentFilteringState(const std::string& url, std::int64_t port,
                                        const std::string& appName,
                                        ResultReply<EBACurrentFilteringStateResponse> reply) = 0;
  virtual void setProtectionStatus(bool isEnabled, ErrorReply reply) = 0;
  virtual void setHttpFilteringStatus(const std::string& url, bool isEnabled, ErrorReply reply) = 0;
  /// Answers with a flag as well, false when the main application sent none.
  virtual void setHttpsFilteringStatus(const std::string& url, bool isEnabled,
                                       UniqueFunction<void(bool, Error)> reply) = 0;
  virtual void addRule(const std::string& ruleText, ErrorReply reply) = 0;
  virtual void removeRule(const std::string& ruleText, ErrorReply reply) = 0;
  virtual void removeCustomRules(const std::string& url, ErrorReply reply) = 0;
  virtual void openOriginalCert(const std::string& domain, std::int64_t port,
                                const std::string& appName, ErrorReply reply) = 0;
  virtual void reportSite(const std::string& url, const std::string& referrer,
                          const std::string& userAgent, ResultReply<std::string> reply) = 0;
  virtual void openFilteringLog(ErrorReply reply) = 0;
  virtual void openSettings(ErrorReply reply) = 0;
  virtual void updateApp(ErrorReply reply) = 0;
};

}  // namespace corvane
