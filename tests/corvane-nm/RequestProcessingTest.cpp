#include "corvane-nm/RequestProcessing/RequestProcessing.h"

#include <gtest/gtest.h>

#include <future>
#include <string>

#include "Base/Json.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::RequestProcessing {
namespace {

using ErrorCode = ExtensionBrowserApiErrorCode;
using namespace std::chrono_literals;

/// A main application that notes what it is asked to do and answers as told, at once.
class ScriptedClient final : public ExtensionBrowserApiProtocol {
 public:
  std::string calls;  // each with a semicolon
  std::optional<EBAAppStateResponse> state = EBAAppStateResponse{true, "de"};
  Error stateError;
  Error error;
  bool isMute = false;

  void appState(ResultReply<EBAAppStateResponse> reply) override {
    calls += "appState;";
    reply(state, stateError);
  }
  void getCurrentFilteringState(const std::string&, std::int64_t, const std::string&,
                                ResultReply<EBACurrentFilteringStateResponse> reply) override {
    EBACurrentFilteringStateResponse record;
    record.blockedAdsCount = 9007199254740993;
    reply(error ? std::nullopt : std::optional(record), error);
  }
  void setProtectionStatus(bool, ErrorReply reply) override { note("protection", reply); }
  void setHttpFilteringStatus(const std::string&, bool, ErrorReply reply) override {
    note("http", reply);
  }
  void setHttpsFilteringStatus(const std::string&, bool,
                               UniqueFunction<void(bool, Error)> reply) override {
    calls += "https;";
    reply(false, error);
  }
  void addRule(const std::string&, ErrorReply reply) override { note("add", reply); }
  void removeRule(const std::string&, ErrorReply reply) override { note("remove", reply); }
  void removeCustomRules(const std::string&, ErrorReply reply) override { note("custom", reply); }
  void openOriginalCert(const std::string&, std::int64_t, const std::string&,
                        ErrorReply reply) override {
    note("certificate", reply);
  }
  void reportSite(const std::string&, const std::string&, const std::string&,
                  ResultReply<std::string> reply) override {
    reply(error ? std::nullopt : std::optional<std::string>("https://report"), error);
  }
  void openFilteringLog(ErrorReply reply) override { note("openLog", reply); }
  void openSettings(ErrorReply reply) override { note("openSettings", reply); }
  void updateApp(ErrorReply reply) override { note("update", reply); }

 private:
  void note(const std::string& call, ErrorReply& reply) {
    calls += call + ";";
    if (!isMute) reply(error);
  }
};

class RequestProcessingTest : public ::testing::Test {
 protected:
  void TearDown() override { handlers_.drain(60s); }

  /// Sends one message and gives its reply as "result/data/serial", or "-" when there is none.
  std::string answerTo(const std::string& type, const std::string& parameters,
                       Processor* hasty = nullptr) {
    client_.calls.clear();
    std::promise<JsonObject> promise;
    auto future = promise.get_future();
    Processor& processor = hasty == nullptr ? processor_ : *hasty;
    processor.process({{"type", type}, {"id", "r"}, {"parameters", parseJson(parameters).value()}},
                      [promise = std::move(promise)](const JsonObject& reply) mutable {
                        promise.set_value(ownCopy(reply));
                      });
    // Announces the state, to whoever waits for it, until there is an answer.
    while (hasty == nullptr && future.wait_for(1ms) != std::future_status::ready) {
      if (const auto announced = signalling_.handler(RequestResponseName::appState)) announced();
    }
    try {
      reply_ = future.get();
    } catch (const std::future_error&) {  // the callback went uncalled
      return "-";
    }
    const auto* data = findString(reply_, "data");
    std::string answer(*findString(reply_, "result"));
    answer += "/" + std::string(data == nullptr ? "" : *data);
    return answer + "/" + std::string(*findString(reply_, "id"));
  }

  Environment environment(AppStateListener& listener) {
    return {client_, listener, [] { return true; },
            [this] {
              client_.calls += "launch;";
              return false;
            },
            [] { return std::string("Browser"); }};
  }

  JsonValue state(const char* key) { return reply_.at("appState").at(key); }

  ScriptedClient client_;
  JsonObject reply_;
  const corvane::testing::TemporaryFolder folder_;
  Platform::NotificationCenter center_{folder_.path().string()};
  DispatchQueue handlers_{"SharedResourcesQueue"};
  DispatchQueue requests_{"SharedResourcesQueue.Requests"};
  RequestSignalling signalling_{center_, {handlers_, requests_}, "com.example.app", 0ms};
  AppStateListener patient_{signalling_, 60s};
  AppStateListener hasty_{signalling_, 0ms};
  Processor processor_{environment(patient_)};
  Processor hastyProcessor_{environment(hasty_)};
};

TEST_F(RequestProcessingTest, StopsWhereItFails) {
  const char switches[] = R"({"url":"u","isEnabled":true,"isHttpsEnabled":false})";
  EXPECT_EQ(answerTo("setFilteringStatus", switches), "ok//1");
  EXPECT_EQ(client_.calls, "http;https;appState;");
  client_.error = ErrorCode::linkTimeout();
  EXPECT_EQ(answerTo("setFilteringStatus", switches),
            "error/Can't connect to main app, timeout reached./2");
  EXPECT_EQ(client_.calls, "http;");
  EXPECT_EQ(answerTo("getCurrentFilteringState", R"({"forceStartApp":true})"),
            "error/Can't start main app./3");
  EXPECT_EQ(client_.calls, "launch;");
  client_.error = std::nullopt;
  EXPECT_EQ(answerTo("removeCustomRules", R"({"url":"u"})", &hastyProcessor_),
            "error/AppState timeout occured/1");
  EXPECT_EQ(state("locale"), "en") << "the state as it was before";
}

TEST_F(RequestProcessingTest, ARefusedRequestLeavesTheSignalWithItsOwner) {
  int ownersSignals = 0;
  signalling_.setHandler(RequestResponseName::appState, [&] { ++ownersSignals; });
  client_.isMute = true;  // as when the request could not be written
  EXPECT_EQ(answerTo("removeCustomRules", R"({"url":"u"})", &hastyProcessor_), "-");
  signalling_.handler(RequestResponseName::appState)();
  EXPECT_EQ(ownersSignals, 1);
}

TEST_F(RequestProcessingTest, CarriesResultsAlsoOnFailure) {
  answerTo("getCurrentFilteringState", R"({"forceStartApp":false,"url":"u","port":1})");
  EXPECT_EQ(reply_.at("parameters").at("blockedAdsCount"), 9007199254740993);
  answerTo("reportSite", R"({"url":"u","referrer":"r","userAgent":"a"})");
  EXPECT_EQ(reply_.at("parameters").at("reportUrl"), "https://report");
  client_.error = ErrorCode::other(std::nullopt);
  EXPECT_EQ(answerTo("reportSite", R"({"url":"u","referrer":"r","userAgent":"a"})"),
            "error/Unknown error occured./3");
  EXPECT_EQ(reply_.at("parameters").at("reportUrl"), "");
}

TEST_F(RequestProcessingTest, ReadsTheStateOfAMainApplicationThatIsSilentOrFails) {
  client_.state = std::nullopt;
  client_.stateError = ErrorCode::linkTimeout();
  EXPECT_EQ(answerTo("addRule", R"({"ruleText":"x"})"), "ok//1");
  EXPECT_EQ(state("isRunning"), false);
  EXPECT_EQ(state("locale"), "en");
  client_.stateError = ErrorCode::other("broken");
  EXPECT_EQ(answerTo("addRule", R"({"ruleText":"x"})"), "error/broken/2");
  EXPECT_EQ(client_.calls, "appState;") << "the command itself is not run";
  EXPECT_EQ(answerTo("init", R"({"apiVersion":"2"})"), "error/broken/3");
  EXPECT_EQ(reply_.at("parameters").at("isValidatedOnHost"), false);
}

}  // namespace
}  // namespace corvane::RequestProcessing
