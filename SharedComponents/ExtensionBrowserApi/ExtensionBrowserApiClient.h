#pragma once

#include <memory>
#include <string>

#include "SharedComponents/ExchangeBuffer.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiProtocol.h"
#include "SharedComponents/RequestSignalling.h"
#include "VCommons/VCommonsKit/SerialQueue.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

/// The main application's interface as this process reaches it: each operation is one exchange, a
/// record to "ExchangeRequestContainer", a notification, and the record that answers it from
/// "ExchangeResponseContainer." and the client's identifier. Exchanges run one after another in the
/// order of the calls. The response is read up to 100 times, at least once, and not after the reply
/// deadline (3 s after the post). The order is held while
/// `reply` runs; a caller that must keep the next exchange from starting for longer takes a hold of
/// its own in there. An exchange that fails is answered with `linkTimeout`; when the request is
/// refused or the client is gone, `reply` is destroyed uncalled. On the loop's thread.
class ExtensionBrowserApiClient final
    : public ExtensionBrowserApiProtocol,
      public std::enable_shared_from_this<ExtensionBrowserApiClient>,
      private VCLog {
 public:
  /// What a client works with. All of it must outlive the client and what it has started.
  struct Link {
    Platform::EventLoop& loop;
    ExchangeBuffer& exchange;
    RequestSignalling& signalling;
    SerialQueue& workQueue;        ///< in which the exchanges run
    std::string clientIdentifier;  ///< names the files of the replies; no other process has it
  };

  static std::shared_ptr<ExtensionBrowserApiClient> make(Link link);

 private:
  struct Exchange;
  using ExchangePointer = std::shared_ptr<Exchange>;

  explicit ExtensionBrowserApiClient(Link link);

  void call(Command action, Body&& body, BodyReply&& reply) override;
  void through(Command action, Body&& body, BodyReply&& reply);
  void sendRequest(const ExchangePointer& exchange, Body body);
  void takeResponse(const ExchangePointer& exchange);
  void answer(Exchange& exchange, const Body& body);
  void giveUp(const ExchangePointer& exchange);
  [[nodiscard]] std::string responseName() const;
  Error errorOf(const Body& body) const;

  const Link link_;
};

}  // namespace corvane
