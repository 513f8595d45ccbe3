#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "Base/JsonWriter.h"
#include "Base/ScopeExit.h"
#include "corvane-nm/RequestProcessing/Processor.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/Requests.h"
#include "tests/Support/TemporaryFolder.h"

namespace {

using namespace corvane;                     // NOLINT(google-build-using-namespace)
using namespace corvane::RequestProcessing;  // NOLINT(google-build-using-namespace)
using fuzzing::require;
using ErrorCode = ExtensionBrowserApiErrorCode;

/// How the main application behaves.
enum class Mood { isNotRunning, answers, fails, isLate };

/// Answers at once, and says in a result or an error what text it was given.
class EchoingClient final : public ExtensionBrowserApiProtocol {
 public:
  Mood mood = Mood::answers;
  std::optional<std::string> given;  ///< by the last operation that takes a text

 private:
  void call(Command action, Body&& body, BodyReply&& reply) override {
    using enum ExtensionBrowserApiConstants::ApiCommandParam;
    for (const auto key : {url, ruleText, domain}) {
      const auto* text = body ? body->find<std::string>(rawValue(key)) : nullptr;
      if (text != nullptr) given = *text;
    }
    const bool isState = action == ExtensionBrowserApiConstants::apiCommandAppState;
    Error failure;
    if (mood == Mood::isLate) failure = ErrorCode::linkTimeout();
    if (mood == Mood::fails && !isState) failure = ErrorCode::other(given);
    reply(mood == Mood::isLate && isState ? Body() : answerTo(action), failure);
  }
  [[nodiscard]] Body answerTo(Command action) const {
    using namespace ExtensionBrowserApiConstants;  // NOLINT(google-build-using-namespace)
    Value result;
    if (action == apiCommandAppState) result = EBAAppStateResponse{true, "de"}.record();
    if (action == apiCommandReportSite) result = *given;
    if (action == apiCommandGetCurrentFilteringState) {
      EBACurrentFilteringStateResponse record;
      record.originalCertIssuer = *given;
      result = record.record();
    }
    Dictionary body;
    body.append(std::string(rawValue(ApiCommandParam::result)), std::move(result));
    return body;
  }
};

/// The reply as the browser gets it.
JsonObject objectOf(const Response& response) {
  JsonWriter json;
  response.writeTo(json);
  const auto text = withSurrogatesEscaped(json.view());
  require(text.has_value(), "it can be written");
  auto value = parseJson(*text);
  require(value && value->is_object(), "the browser can read it");
  require(value->get_object().size() == json.memberCount(), "its members are counted");
  return std::move(value->get_object());
}

class Host {
 public:
  /// The reply to `message`, if there is one. Turns the loop until the callback is destroyed,
  /// called or not.
  std::optional<JsonObject> replyTo(const Request& request, Mood mood) {
    client_.mood = mood;
    client_.given = std::nullopt;
    std::optional<JsonObject> reply;
    processor_.process(Request(request), [&reply, end = ScopeExit([this] { loop_.endTurn(); })](
                                             const Response& response) {
      require(!reply, "a message gets one reply at most");
      reply = objectOf(response);
    });
    loop_.turnUntil(Platform::EventLoop::Clock::time_point::max());
    return reply;
  }

  /// The text that the last message has given the main application.
  [[nodiscard]] const std::optional<std::string>& given() const { return client_.given; }

 private:
  EchoingClient client_;
  const testing::TemporaryFolder folder_;
  Platform::EventLoop loop_;
  Platform::NotificationCenter center_{loop_, folder_.path().string()};
  SerialQueue handlers_{loop_, "SharedResourcesQueue"};
  SerialQueue requests_{loop_, "SharedResourcesQueue.Requests"};
  SerialQueue work_{loop_, "ExtensionBrowserApiClient.sharedWorkQueue"};
  RequestSignalling signalling_{
      loop_, center_, {handlers_, requests_}, "com.example.app", std::chrono::milliseconds(0)};
  AppStateListener listener_{loop_, signalling_, std::chrono::milliseconds(0)};
  Processor processor_{
      loop_,
      {client_, work_, listener_, [this] { return client_.mood != Mood::isNotRunning; },
       [this](UniqueFunction<void(bool)> answer) {
         loop_.post([this, answer = std::move(answer)]() mutable {
           answer(client_.mood == Mood::answers);
         });
       },
       [] { return std::string("Browser"); }}};
};

bool isCommand(const Request& request) {
  return std::any_of(browserCommands.begin(), browserCommands.end(),
                     [&](const BrowserCommand& command) { return command.type == request.type; });
}

/// The main application was given the text that was sent, and what it says comes back.
void requireEcho(const JsonObject& message, const JsonObject& reply, const std::string& given,
                 Mood mood) {
  const auto* sent = findObject(message, "parameters");
  const auto isGiven = [&](const char* key) {
    const auto* text = findString(*sent, key);
    return text != nullptr && *text == given;
  };
  require(sent != nullptr && (isGiven("url") || isGiven("ruleText") || isGiven("domain")),
          "the main application is given the text that was sent");
  require(mood != Mood::fails || *findString(reply, "data") == given, "an error comes back");
  const auto* received = findObject(reply, "parameters");
  for (const char* const key : {"reportUrl", "originalCertIssuer"}) {
    const auto* text = received == nullptr ? nullptr : findString(*received, key);
    require(text == nullptr || *text == given, "a text comes back");
  }
}

/// The form that every reply has.
void requireForm(const JsonObject& message, const JsonObject& reply) {
  require(*findString(reply, "requestId") == *findString(message, "id"), "it names its request");
  const auto* result = findString(reply, "result");
  require(result != nullptr && (*result == "ok" || *result == "error"), "it says how it went");
  require((findString(reply, "data") != nullptr) == (*result == "error"), "an error says why");
  const auto* state = findObject(reply, "appState");
  require(state != nullptr && state->size() == 5, "it carries the main application's state");
}

}  // namespace

/// A command gets one reply, whatever else the message holds and the main application does; what is
/// no command gets none.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto& host = *new Host;
  static long long lastSerial = 0;
  const auto message = parseJson(fuzzing::textOf(data, size));
  const auto request = message ? fuzzing::requestIn(message.value()) : std::nullopt;
  if (!request) return 0;
  const JsonObject& object = message->get_object();
  for (const Mood mood : {Mood::isNotRunning, Mood::answers, Mood::fails, Mood::isLate}) {
    const fuzzing::MemoryBound bound((std::size_t{256} << 10) + 128 * size);
    const auto reply = host.replyTo(*request, mood);
    require(reply.has_value() == isCommand(*request),
            "commands get a reply, and nothing else does");
    if (!reply) return 0;
    requireForm(object, *reply);
    if (host.given()) requireEcho(object, *reply, *host.given(), mood);
    const long long serial = std::stoll(std::string(*findString(*reply, "id")));
    require(serial == ++lastSerial, "replies are numbered one after the other");
  }
  return 0;
}
