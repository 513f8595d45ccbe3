#include "corvane-nm/RequestProcessing/Processor.h"

#include <gtest/gtest.h>

#include <string>

#include "Base/Json.h"
#include "corvane-nm/RequestProcessing/RequestParser.h"
#include "tests/Support/TemporaryFolder.h"
#include "tests/Support/Turning.h"

namespace corvane::RequestProcessing {
namespace {

using ErrorCode = ExtensionBrowserApiErrorCode;
using namespace std::chrono_literals;

/// A main application that notes what it is asked to do and answers as told, in exchanges that run
/// one after another.
class ScriptedClient final : public ExtensionBrowserApiProtocol {
 public:
  explicit ScriptedClient(SerialQueue& workQueue) : workQueue_(workQueue) {}

  std::string calls;  // each with a semicolon
  Error error;
  bool isMute = false;

 private:
  void call(Command action, Body&& /*body*/, BodyReply&& reply) override {
    workQueue_.async([this, action, reply = std::move(reply)]() mutable {
      calls += std::string(rawValue(action)) + ";";
      if (isMute) return;
      const bool isState = action == ExtensionBrowserApiConstants::apiCommandAppState;
      Dictionary body;
      if (isState) body.append("result", EBAAppStateResponse{true, "de"}.record());
      reply(body, isState ? std::nullopt : error);
    });
  }

  SerialQueue& workQueue_;
};

class ProcessorTest : public ::testing::Test {
 protected:
  /// Sends one message; its reply comes into `replies_`, and "-" when there is none.
  void send(Processor& processor, const std::string& type, const std::string& parameters) {
    auto isReplied = std::make_shared<bool>(false);
    // Destroyed with the callback, called or not.
    auto end = std::shared_ptr<void>(nullptr, [this, isReplied](void*) {
      if (!*isReplied) replies_ += "- ";
    });
    RequestParser parser;
    parser.write(R"({"type":")" + type + R"(","id":"r","parameters":)" + parameters + "}", true);
    auto request = parser.finish();
    processor.process(std::move(**request), [this, isReplied, end](const Response& response) {
      *isReplied = true;
      JsonWriter json;
      response.writeTo(json);
      reply_ = parseJson(json.view())->get_object();
      const auto* data = findString(reply_, "data");
      replies_ += std::string(*findString(reply_, "result")) + "/" +
                  std::string(data == nullptr ? "" : *data) + "/" +
                  std::string(*findString(reply_, "id")) + " ";
    });
  }
  /// Sends one message and gives its reply as "result/data/serial", or "-" when there is none.
  std::string answerOf(Processor& processor, const std::string& type,
                       const std::string& parameters) {
    send(processor, type, parameters);
    EXPECT_TRUE(testing::turnUntil(loop_, [&] { return !replies_.empty(); }));
    std::string answer = std::exchange(replies_, "");
    answer.pop_back();
    return answer;
  }
  void announce() {
    if (const auto owner = signalling_.handler(RequestResponseName::appState)) owner();
  }
  /// What was called and replied when all has happened that can.
  std::string happened() {
    testing::turnThrough(loop_);
    return std::exchange(client_.calls, "") + " " + std::exchange(replies_, "");
  }

  Environment environment(AppStateListener& listener) {
    return {client_,
            workQueue_,
            listener,
            [] { return true; },
            [this](UniqueFunction<void(bool)> answer) {
              client_.calls += "launch;";
              launchAnswer_ = std::move(answer);
              if (!isLaunchSlow_) loop_.post([this] { answerLaunch(false); });
            },
            [] { return std::string("Browser"); }};
  }

  void answerLaunch(bool isStarted) { std::exchange(launchAnswer_, {})(isStarted); }

  const std::string forced_ = R"({"forceStartApp":true,"url":"u","port":1})";
  JsonObject reply_;     // the last one
  std::string replies_;  // each with a space
  const corvane::testing::TemporaryFolder folder_;
  Platform::EventLoop loop_;
  SerialQueue workQueue_{loop_, "ExtensionBrowserApiClient.sharedWorkQueue"};
  SerialQueue handlers_{loop_, "SharedResourcesQueue"};
  SerialQueue requests_{loop_, "SharedResourcesQueue.Requests"};
  ScriptedClient client_{workQueue_};
  Platform::NotificationCenter center_{loop_, folder_.path().string()};
  RequestSignalling signalling_{loop_, center_, {handlers_, requests_}, "com.example.app", 0ms};
  AppStateListener patient_{loop_, signalling_, 60s};
  AppStateListener hasty_{loop_, signalling_, 0ms};
  Processor processor_{loop_, environment(patient_)};
  Processor hastyProcessor_{loop_, environment(hasty_)};
  bool isLaunchSlow_ = false;
  UniqueFunction<void(bool)> launchAnswer_;
};

TEST_F(ProcessorTest, AChangeThatIsNotAnnouncedIsAnsweredWithTheStateAsItWas) {
  EXPECT_EQ(answerOf(hastyProcessor_, "removeCustomRules", R"({"url":"u"})"),
            "error/AppState timeout occured/1");
  EXPECT_EQ(reply_.at("appState").at("locale"), "en");
}

TEST_F(ProcessorTest, ASignalEndsAllWaitsThatBeganBeforeAndThenGoesToItsOwner) {
  std::string events;
  signalling_.setHandler(RequestResponseName::appState, [&] { events += 'o'; });
  const auto wait = [&] {
    patient_.waitAppStateNotificationAndReturnListener(
        [&, text = std::string(100, '.')](bool came) { events += came ? 't' : 'f'; });
  };
  patient_.interceptAppStateListener();
  announce();  // before the waits, so it is forgotten
  for (int i = 0; i < 2; ++i) wait();
  happened();
  EXPECT_EQ(events, "");
  for (int i = 0; i < 2; ++i) announce();
  EXPECT_EQ(events, "") << "later, on the loop";
  wait();
  happened();
  EXPECT_EQ(events, "tt");
  announce();
  patient_.returnAppStateListener();
  announce();
  EXPECT_EQ(events, "ttoo") << "nothing is remembered: nothing changes";
}

TEST_F(ProcessorTest, ARefusedRequestLeavesTheSignalWithItsOwner) {
  int ownersSignals = 0;
  signalling_.setHandler(RequestResponseName::appState, [&] { ++ownersSignals; });
  client_.isMute = true;  // as when the request could not be written
  EXPECT_EQ(answerOf(hastyProcessor_, "removeCustomRules", R"({"url":"u"})"), "-");
  signalling_.handler(RequestResponseName::appState)();
  EXPECT_EQ(ownersSignals, 1);
}

/// No other exchange comes between a change and the state that is read after it was announced.
TEST_F(ProcessorTest, AChangeOfStateHoldsUpAllExchangesUntilItIsAnnounced) {
  send(processor_, "setProtectionStatus", R"({"isEnabled":true})");
  send(processor_, "openSettings", "{}");
  send(processor_, "getCurrentAppState", "{}");
  EXPECT_EQ(happened(), "setProtectionStatus; ");
  announce();
  EXPECT_EQ(happened(), "appState;appState;appState;openSettings; ok//3 ok//1 ok//2 ");
  client_.error = ErrorCode::other("broken");
  send(processor_, "setProtectionStatus", R"({"isEnabled":true})");
  EXPECT_EQ(happened(), "setProtectionStatus; error/broken/4 ") << "nothing to wait for";
}

/// The second one takes the signal over from the first: one announcement ends one of them.
TEST_F(ProcessorTest, ChangesOfStateOneAfterAnotherAreEachAnnounced) {
  int ownersSignals = 0;
  signalling_.setHandler(RequestResponseName::appState, [&] { ++ownersSignals; });
  for (const char* isEnabled : {"true", "false"})
    send(processor_, "setProtectionStatus", std::string(R"({"isEnabled":)") + isEnabled + "}");
  EXPECT_EQ(happened(), "setProtectionStatus; ");
  announce();
  EXPECT_EQ(happened(), "setProtectionStatus; ");
  announce();
  EXPECT_EQ(happened(), "appState;appState; ok//1 ok//2 ");
  announce();
  EXPECT_EQ(ownersSignals, 0) << "intercepted twice, it does not come back";
}

TEST_F(ProcessorTest, AForcedStartHoldsUpAllCommandsUntilTheStateIsAnnounced) {
  isLaunchSlow_ = true;
  for (const bool isStarted : {true, false}) {
    send(processor_, "getCurrentFilteringState", forced_);
    send(processor_, "getCurrentAppState", "{}");
    announce();
    EXPECT_EQ(happened(), "launch; ");
    answerLaunch(isStarted);
    if (!isStarted) break;
    EXPECT_EQ(happened(), " ") << "an announcement before the start does not count";
    announce();
    EXPECT_EQ(happened(), "appState;getCurrentFilteringState;appState; ok//1 ok//2 ");
  }
  EXPECT_EQ(happened(), "appState; error/Can't start main app./3 ok//4 ");
  send(hastyProcessor_, "getCurrentFilteringState", forced_);
  EXPECT_EQ(happened(), "launch; ");
  answerLaunch(true);
  EXPECT_TRUE(testing::turnUntil(loop_, [&] { return replies_ == "ok//1 "; }))
      << "not announced in time, it is asked all the same";
}

}  // namespace
}  // namespace corvane::RequestProcessing
