#pragma once

#include <memory>
#include <string>

#include "SharedComponents/Exchange/ExchangeBuffer.h"
#include "SharedComponents/Exchange/RequestSignalling.h"
#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiProtocol.h"
#include "VCommons/VCommonsKit/SerialQueue.h"
#include "VCommons/VCommonsKit/VCLog.h"

namespace corvane {

/// The main application's interface, over exchange files and notifications. Each operation is one
/// exchange: append a request to the file "ExchangeRequestContainer", post `exchange`, wait for the
/// notification of the reply, and take the reply from the file "ExchangeResponseContainer." with
/// the client's identifier appended.
///
/// Exchanges run one after another, in the order of the calls. Their queue is held until `reply`
/// has returned; a caller that must delay the next exchange further takes a hold of its own inside
/// `reply`.
///
/// The notification says that a reply is there, not which: the response file is read until it
/// yields the reply to this request, at least once, at most 100 times, and not after the reply
/// deadline (3 s after the post). An exchange that fails is answered with `linkTimeout`. If the
/// request is rejected (the file is full, or the request too long) or the client was destroyed
/// meanwhile, `reply` is destroyed uncalled.
///
/// On the loop's thread.
class ExtensionBrowserApiClient final
    : public ExtensionBrowserApiProtocol,
      public std::enable_shared_from_this<ExtensionBrowserApiClient>,
      private VCLog {
 public:
  /// What a client works with. The objects must outlive the client and its exchanges.
  struct Link {
    Platform::EventLoop& loop;
    ExchangeBuffer& exchange;
    RequestSignalling& signalling;
    SerialQueue& workQueue;        ///< runs the exchanges
    std::string clientIdentifier;  ///< names the response file; unique to this process
  };

  /// Creates a client. Sets the classes that `link.exchange` may read to the two state records.
  /// Queued exchanges hold the client weakly: they are dropped if its owner releases it.
  static std::shared_ptr<ExtensionBrowserApiClient> make(Link link);

 private:
  struct Exchange;
  using ExchangePointer = std::shared_ptr<Exchange>;

  explicit ExtensionBrowserApiClient(Link link);

  // The steps of an exchange, in order.
  void call(Command action, Body&& body, BodyReply&& reply) override;
  void through(Command action, Body&& body, BodyReply&& reply);
  void sendRequest(const ExchangePointer& exchange);
  void takeResponse(const ExchangePointer& exchange);
  void answer(Exchange& exchange, const Body& body);
  void giveUp(const ExchangePointer& exchange);
  [[nodiscard]] std::string responseName() const;
  Error errorOf(const Body& body) const;

  const Link link_;
};

}  // namespace corvane
