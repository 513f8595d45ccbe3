#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "SharedComponents/ExchangeBuffer.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiConstants.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiProtocol.h"
#include "SharedComponents/RequestSignalling.h"
#include "VCommons/VCommonsKit/DispatchQueue.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

/// The main application's interface as this process reaches it: each operation is one exchange, a
/// record to "ExchangeRequestContainer", a notification, and the record that answers it from
/// "ExchangeResponseContainer." and the client's identifier. Exchanges run one after another in the
/// order of the calls, and replies are called there, on the work queue. An exchange that fails is
/// answered with `linkTimeout`; when the request is refused or the client is gone, nobody is
/// called. Safe from any thread.
class ExtensionBrowserApiClient final
    : public ExtensionBrowserApiProtocol,
      public std::enable_shared_from_this<ExtensionBrowserApiClient>,
      private VCLog {
 public:
  /// What a client works with. All of it must outlive the client and what it has started.
  struct Link {
    ExchangeBuffer& exchange;
    RequestSignalling& signalling;
    DispatchQueue& workQueue;      ///< where the exchanges run
    std::string clientIdentifier;  ///< names the files of the replies; no other process has it
  };

  /// A client of this process: all of them share the queue
  /// "ExtensionBrowserApiClient.sharedWorkQueue" and one identifier. The files are in the shared
  /// container.
  static std::shared_ptr<ExtensionBrowserApiClient> make();
  static std::shared_ptr<ExtensionBrowserApiClient> make(Link link);

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
  using Command = ExtensionBrowserApiConstants::Command;
  using Body = std::optional<Dictionary>;
  using BodyReply = UniqueFunction<void(const Body&, const Error&)>;

  enum class Outcome { answered, timedOut, refused };

  explicit ExtensionBrowserApiClient(Link link) : link_(std::move(link)) {}

  void rule(Command action, const std::string& ruleText, ErrorReply reply);
  void through(Command action, Body body, BodyReply reply);
  void exchange(Command action, Body body, BodyReply reply);
  Outcome request(Command action, Body body);
  std::optional<ExchangeRecord> response(Command action);
  [[nodiscard]] std::string responseName() const;
  Error errorOf(const Body& body) const;

  const Link link_;
  std::once_flag classesAreRegistered_;
};

}  // namespace corvane
