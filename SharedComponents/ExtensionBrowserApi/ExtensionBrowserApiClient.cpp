#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"

#include <utility>

#include "Base/ErrorObject.h"

namespace corvane {
namespace {

using namespace ExtensionBrowserApiConstants;  // NOLINT(google-build-using-namespace)

constexpr char file[] = "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient";
constexpr char throughFunction[] = "through(action:body:reply:)";

constexpr char requestKey[] = "ExchangeRequestContainer";
constexpr char responseKey[] = "ExchangeResponseContainer";

/// How often the newest reply is read before the exchange counts as failed.
constexpr int readAttempts = 100;

}  // namespace

/// One exchange. Keeps the client alive and the work queue held as long as it exists.
struct ExtensionBrowserApiClient::Exchange {
  std::shared_ptr<ExtensionBrowserApiClient> client;
  Command action;
  Body body;  // of the request, until that is appended
  BodyReply reply;
  SerialQueue::Hold hold;
  int attempts = 0;                                   // how often the response was read
  Platform::EventLoop::Clock::time_point deadline{};  // of the attempts
};

ExtensionBrowserApiClient::ExtensionBrowserApiClient(Link link) : link_(std::move(link)) {
  link_.exchange.setRegisteredClasses(
      {&EBACurrentFilteringStateResponse::recordClass, &EBAAppStateResponse::recordClass});
}

std::shared_ptr<ExtensionBrowserApiClient> ExtensionBrowserApiClient::make(Link link) {
  // The constructor is private, so that every client can be held weakly.
  return std::shared_ptr<ExtensionBrowserApiClient>(new ExtensionBrowserApiClient(std::move(link)));
}

/// Leaves a trace under the operation's name and adds its exchange.
void ExtensionBrowserApiClient::call(Command action, Body&& body, BodyReply&& reply) {
  VCLogDebugTrace({file, operationName(action)});
  through(action, std::move(body), std::move(reply));
}

/// Adds one exchange to the work queue. Its steps are the functions that follow.
void ExtensionBrowserApiClient::through(Command action, Body&& body, BodyReply&& reply) {
  link_.workQueue.async([weak = weak_from_this(), action, body = std::move(body),
                         reply = std::move(reply)]() mutable {
    const auto self = weak.lock();
    if (!self) return;
    self->VCLogDebugTrace({file, throughFunction});
    self->sendRequest(std::make_shared<Exchange>(
        Exchange{self, action, std::move(body), std::move(reply), self->link_.workQueue.hold()}));
  });
}

/// Appends the request, notifies the main application, and waits for the notification of its reply.
/// A rejected request ends the exchange without a reply.
void ExtensionBrowserApiClient::sendRequest(const ExchangePointer& exchange) {
  auto append = [this, exchange](UniqueFunction<void(bool)> done) {
    link_.exchange.setExchange(requestKey, link_.clientIdentifier,
                               std::string(rawValue(exchange->action)), std::move(exchange->body),
                               std::move(done));
  };
  link_.signalling.sendRequest(RequestResponseName::exchange, link_.clientIdentifier,
                               std::move(append),
                               [this, exchange](RequestSignalling::Outcome outcome) {
                                 using enum RequestSignalling::Outcome;
                                 exchange->deadline = link_.signalling.replyDeadline();
                                 if (outcome == answered) takeResponse(exchange);
                                 if (outcome == timedOut) giveUp(exchange);
                               });
}

/// Takes the newest response until one answers this request, each attempt in its own turn of the
/// loop. Responses to earlier requests of this client that are on top are removed by this; nothing
/// waits for them any more. The attempts end at the reply deadline, so an exchange takes at most
/// its limit and one more attempt, whatever is in the file.
void ExtensionBrowserApiClient::takeResponse(const ExchangePointer& exchange) {
  const bool isLate = exchange->attempts > 0 && Platform::EventLoop::now() >= exchange->deadline;
  if (isLate || exchange->attempts++ == readAttempts) return giveUp(exchange);
  link_.exchange.getExchange(responseName(), link_.clientIdentifier,
                             [this, exchange](const std::optional<ExchangeRecord>& record) {
                               if (record && record->name == rawValue(exchange->action))
                                 return answer(*exchange, record->body);
                               link_.loop.post([this, exchange] { takeResponse(exchange); });
                             });
}

void ExtensionBrowserApiClient::answer(Exchange& exchange, const Body& body) {
  exchange.reply(body, errorOf(body));
}

void ExtensionBrowserApiClient::giveUp(const ExchangePointer& exchange) {
  const auto error = ExtensionBrowserApiErrorCode::linkTimeout();
  VCLogError({file, throughFunction}, "%@", error);
  link_.exchange.clearExchange(responseName(),
                               [exchange, error] { exchange->reply(std::nullopt, error); });
}

std::string ExtensionBrowserApiClient::responseName() const {
  return std::string(responseKey) + "." + link_.clientIdentifier;
}

ExtensionBrowserApiClient::Error ExtensionBrowserApiClient::errorOf(const Body& body) const {
  const auto* error = body ? body->find<ErrorObject>(rawValue(ApiCommandParam::error)) : nullptr;
  if (error == nullptr) return std::nullopt;
  VCLogError({file, throughFunction}, "Error occured: %@", *error);
  return ExtensionBrowserApiErrorCode::other(error->description());
}

}  // namespace corvane
