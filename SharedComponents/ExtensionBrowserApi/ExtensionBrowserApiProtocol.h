#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Base/UniqueFunction.h"
#include "Base/Value.h"
#include "SharedComponents/ExtensionBrowserApi/EBAAppStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/EBACurrentFilteringStateResponse.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiErrorCode.h"

namespace corvane {

/// The thirteen operations that the main application offers to the browser extension: what each
/// puts into the body of its request, and takes from the body of the answer. How a request reaches
/// the main application is `call`, which derived classes define.
///
/// Each operation returns at once and calls `reply` at most once, later and on the loop: with a
/// result, an error, both or neither. A request that could not even be written gets no call;
/// `reply` is then destroyed uncalled.
class ExtensionBrowserApiProtocol {
 public:
  using Error = std::optional<ExtensionBrowserApiErrorCode>;
  using ErrorReply = UniqueFunction<void(Error)>;
  template <class T>
  using ResultReply = UniqueFunction<void(std::optional<T>, Error)>;

  using Command = ExtensionBrowserApiConstants::Command;
  using Body = std::optional<Dictionary>;  ///< of a request or its answer; keys: ApiCommandParam
  using BodyReply = UniqueFunction<void(const Body&, const Error&)>;

  ExtensionBrowserApiProtocol() = default;
  virtual ~ExtensionBrowserApiProtocol() = default;
  ExtensionBrowserApiProtocol(const ExtensionBrowserApiProtocol&) = delete;
  ExtensionBrowserApiProtocol& operator=(const ExtensionBrowserApiProtocol&) = delete;

  void appState(ResultReply<EBAAppStateResponse> reply);
  void getCurrentFilteringState(const std::string& url, std::int64_t port,
                                const std::string& appName,
                                ResultReply<EBACurrentFilteringStateResponse> reply);
  void setProtectionStatus(bool isEnabled, ErrorReply reply);
  void setHttpFilteringStatus(const std::string& url, bool isEnabled, ErrorReply reply);
  /// Answers with a flag as well, false when the main application sent none.
  void setHttpsFilteringStatus(const std::string& url, bool isEnabled,
                               UniqueFunction<void(bool, Error)> reply);
  void addRule(const std::string& ruleText, ErrorReply reply);
  void removeRule(const std::string& ruleText, ErrorReply reply);
  void removeCustomRules(const std::string& url, ErrorReply reply);
  void openOriginalCert(const std::string& domain, std::int64_t port, const std::string& appName,
                        ErrorReply reply);
  void reportSite(const std::string& url, const std::string& referrer, const std::string& userAgent,
                  ResultReply<std::string> reply);
  void openFilteringLog(ErrorReply reply);
  void openSettings(ErrorReply reply);
  void updateApp(ErrorReply reply);

 private:
  /// Sends the request `action` with `body` and calls `reply` with the body of the answer, or
  /// nothing, and with the error in it or of the link. As the operations, it returns at once.
  virtual void call(Command action, Body&& body, BodyReply&& reply) = 0;
};

}  // namespace corvane
