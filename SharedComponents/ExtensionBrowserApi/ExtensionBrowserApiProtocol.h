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

/// The interface of the main application, as the browser extension may use it: thirteen operations.
/// Here stands what each puts into the body of its request and takes from the body of the answer;
/// how a request reaches the main application is `call`, which derived classes define. In this
/// folder: this interface, its vocabulary, its records, and the client that sends requests.
///
/// Every operation returns at once and calls `reply` at most once, later, on the loop: with a
/// result, an error, both or neither, as the main application answered. Without an answer the error
/// is `linkTimeout`. If the request can't even be written, `reply` is destroyed uncalled, and with
/// it what it owns. All operations and all replies belong to the loop's thread.
///
/// Arguments are passed on unchanged and unchecked; strings may hold unpaired surrogates
/// (Base/Unicode.h).
class ExtensionBrowserApiProtocol {
 public:
  /// Nothing means success.
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

  /// Asks for the state of the main application.
  void appState(ResultReply<EBAAppStateResponse> reply);
  /// Asks for the filtering state of the page `url` that the browser `appName` shows; `port` is the
  /// page's. `appName` is a bundle identifier or the name of an executable.
  void getCurrentFilteringState(const std::string& url, std::int64_t port,
                                const std::string& appName,
                                ResultReply<EBACurrentFilteringStateResponse> reply);
  /// Switches protection as a whole on or off.
  void setProtectionStatus(bool isEnabled, ErrorReply reply);
  /// Switches filtering of the page `url` over HTTP on or off.
  void setHttpFilteringStatus(const std::string& url, bool isEnabled, ErrorReply reply);
  /// The same over HTTPS. Replies with a flag as well: the main application's result, or false if
  /// it sent none.
  void setHttpsFilteringStatus(const std::string& url, bool isEnabled,
                               UniqueFunction<void(bool, Error)> reply);
  /// Adds a rule of the user's, or removes the one with this text.
  void addRule(const std::string& ruleText, ErrorReply reply);
  void removeRule(const std::string& ruleText, ErrorReply reply);
  /// Removes all rules of the user's that concern the page `url`.
  void removeCustomRules(const std::string& url, ErrorReply reply);
  /// Shows the certificate that the server `domain` itself presented on `port`.
  void openOriginalCert(const std::string& domain, std::int64_t port, const std::string& appName,
                        ErrorReply reply);
  /// Reports the page `url`. The result is the URL that the browser is to open.
  void reportSite(const std::string& url, const std::string& referrer, const std::string& userAgent,
                  ResultReply<std::string> reply);
  /// Make the main application show its filtering log or its settings, or update itself.
  void openFilteringLog(ErrorReply reply);
  void openSettings(ErrorReply reply);
  void updateApp(ErrorReply reply);

 private:
  /// Sends the request `action` with `body` and calls `reply` with the body of the answer, or
  /// nothing, and with the error in it or of the link. Called on the loop's thread; returns at once
  /// as the operations do, and with the same promises about `reply`.
  virtual void call(Command action, Body&& body, BodyReply&& reply) = 0;
};

}  // namespace corvane
