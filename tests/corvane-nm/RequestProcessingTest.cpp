#include "corvane-nm/RequestProcessing/RequestProcessing.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <vector>

#include "Base/Json.h"

namespace corvane::RequestProcessing {
namespace {

using ErrorCode = ExtensionBrowserApiErrorCode;

/// A main application that notes what it is asked and answers as told, at once.
class ScriptedClient final : public ExtensionBrowserApiProtocol {
 public:
  std::vector<std::string> calls;
  std::optional<EBAAppStateResponse> state = EBAAppStateResponse{true, "de"};
  Error stateError;
  Error error;
  bool isMute = false;

  void appState(ResultReply<EBAAppStateResponse> reply) override {
    calls.emplace_back("appState");
    reply(state, stateError);
  }
  void getCurrentFilteringState(const std::string& url, std::int64_t port,
                                const std::string& appName,
                                ResultReply<EBACurrentFilteringStateResponse> reply) override {
    calls.push_back("getCurrentFilteringState " + url + " " + std::to_string(port) + " " + appName);
    EBACurrentFilteringStateResponse record;
    record.blockedAdsCount = 9007199254740993;
    record.originalCertStatus = "valid";
    reply(error ? std::nullopt : std::optional(record), error);
  }
  void setProtectionStatus(bool isEnabled, ErrorReply reply) override {
    flag("protection", isEnabled, reply);
  }
  void setHttpFilteringStatus(const std::string& url, bool isEnabled, ErrorReply reply) override {
    flag("http " + url, isEnabled, reply);
  }
  void setHttpsFilteringStatus(const std::string& url, bool isEnabled,
                               UniqueFunction<void(bool, Error)> reply) override {
    ErrorReply done = [&reply](const Error& outcome) { reply(false, outcome); };
    flag("https " + url, isEnabled, done);
  }
  void addRule(const std::string& ruleText, ErrorReply reply) override {
    note("addRule " + ruleText, reply);
  }
  void removeRule(const std::string& text, ErrorReply reply) override {
    note("removeRule " + text, reply);
  }
  void removeCustomRules(const std::string& url, ErrorReply reply) override {
    note("removeCustomRules " + url, reply);
  }
  void openOriginalCert(const std::string& domain, std::int64_t port, const std::string& appName,
                        ErrorReply reply) override {
    note("openOriginalCert " + domain + " " + std::to_string(port) + " " + appName, reply);
  }
  void reportSite(const std::string& url, const std::string& referrer, const std::string& userAgent,
                  ResultReply<std::string> reply) override {
    calls.push_back("reportSite " + url + " " + referrer + " " + userAgent);
    reply(error ? std::nullopt : std::optional<std::string>("https://report"), error);
  }
  void openFilteringLog(ErrorReply reply) override { note("openFilteringLog", reply); }
  void openSettings(ErrorReply reply) override { note("openSettings", reply); }
  void updateApp(ErrorReply reply) override { note("updateApp", reply); }

 private:
  void flag(const std::string& what, bool isEnabled, ErrorReply& reply) {
    note(what + (isEnabled ? " on" : " off"), reply);
  }
  void note(const std::string& call, ErrorReply& reply) {
    calls.push_back(call);
    if (!isMute) reply(error);
  }
};

class RequestProcessingTest : public testing::Test {
 protected:
  /// Sends one message and gives its reply as "result/data/serial", or "-" when there is none.
  std::string answerTo(const std::string& message) {
    std::promise<JsonObject> promise;
    auto future = promise.get_future();
    processor_.process(parseJson(message)->get_object(),
                       [promise = std::move(promise)](JsonObject reply) mutable {
                         promise.set_value(std::move(reply));
                       });
    try {
      reply_ = future.get();
    } catch (const std::future_error&) {  // the callback went uncalled
      return "-";
    }
    const auto member = [&](const char* key) {
      const auto* text = findString(reply_, key);
      return text == nullptr ? std::string() : std::string(*text);
    };
    EXPECT_EQ(member("requestId"), "r");
    return member("result") + "/" + member("data") + "/" + member("id");
  }

  JsonObject state() { return reply_.at("appState").get_object(); }

  ScriptedClient client_;
  bool isRunning_ = true;
  JsonObject reply_;
  Processor processor_{
      {client_, [this] { return isRunning_; }, [] { return std::string("Browser"); }}};
};

std::string message(const std::string& type, const std::string& parameters) {
  return R"({"type":")" + type + R"(","id":"r","parameters":)" + parameters + "}";
}

TEST_F(RequestProcessingTest, PassesEachCommandOnAndAnswersWithItsOutcome) {
  struct Case {
    const char* type;
    const char* parameters;
    std::vector<std::string> calls;
  };
  const Case cases[] = {
      {"getCurrentAppState", "{}", {"appState"}},
      {"init", R"({"apiVersion":"1"})", {"appState"}},
      {"getCurrentFilteringState",
       R"({"forceStartApp":false,"url":"u","port":443})",
       {"appState", "getCurrentFilteringState u 443 Browser"}},
      {"setProtectionStatus", R"({"isEnabled":false})", {"protection off"}},
      {"setFilteringStatus",
       R"({"url":"u","isEnabled":true,"isHttpsEnabled":false})",
       {"http u on", "https u off"}},
      {"addRule", R"({"ruleText":"||a^"})", {"appState", "addRule ||a^"}},
      {"removeRule", R"({"ruleText":"||a^"})", {"appState", "removeRule ||a^"}},
      {"removeCustomRules", R"({"url":"u"})", {"removeCustomRules u"}},
      {"openOriginalCert",
       R"({"domain":"d","port":8443})",
       {"appState", "openOriginalCert d 8443 Browser"}},
      {"reportSite",
       R"({"url":"u","referrer":"r","userAgent":"a"})",
       {"appState", "reportSite u r a"}},
      {"openFilteringLog", "{}", {"appState", "openFilteringLog"}},
      {"openSettings", "{}", {"appState", "openSettings"}},
      {"updateApp", "{}", {"appState", "updateApp"}},
  };
  int serial = 0;
  for (const Case& c : cases) {
    client_.error = std::nullopt;
    client_.calls.clear();
    EXPECT_EQ(answerTo(message(c.type, c.parameters)), "ok//" + std::to_string(++serial)) << c.type;
    EXPECT_EQ(client_.calls, c.calls) << c.type;
    if (c.calls.front() != "appState") continue;
    EXPECT_EQ(state().at("locale"), "de") << c.type;
    EXPECT_EQ(state().at("isProtectionEnabled"), true) << c.type;
    if (c.calls.size() < 2) continue;
    client_.error = ErrorCode::other("No window");
    EXPECT_EQ(answerTo(message(c.type, c.parameters)),
              "error/No window/" + std::to_string(++serial));
  }
  client_.error = ErrorCode::linkTimeout();
  EXPECT_EQ(answerTo(message("setFilteringStatus", cases[4].parameters)),
            "error/Can't connect to main app, timeout reached./" + std::to_string(++serial));
  EXPECT_EQ(client_.calls.back(), "http u on") << "no second call after a failed first one";
}

TEST_F(RequestProcessingTest, CarriesResultsAlsoOnFailure) {
  answerTo(message("getCurrentFilteringState", R"({"forceStartApp":false,"url":"u","port":1})"));
  EXPECT_EQ(
      serializeJson(reply_.at("parameters").get_object()).value(),
      R"({"isFilteringEnabled":false,"isHttpsFilteringEnabled":false,"isPageFilteredByUserFilter":false,)"
      R"("blockedAdsCount":9007199254740993,"totalBlockedCount":0,"originalCertIssuer":"",)"
      R"("originalCertStatus":"valid"})");
  answerTo(message("reportSite", R"({"url":"u","referrer":"r","userAgent":"a"})"));
  EXPECT_EQ(reply_.at("parameters").at("reportUrl"), "https://report");
  client_.error = ErrorCode::other(std::nullopt);
  EXPECT_EQ(answerTo(message("reportSite", R"({"url":"u","referrer":"r","userAgent":"a"})")),
            "error/Unknown error occured./3");
  EXPECT_EQ(reply_.at("parameters").at("reportUrl"), "");
}

TEST_F(RequestProcessingTest, ReadsTheStateOfAMainApplicationThatIsSilentOrFails) {
  client_.state = std::nullopt;
  client_.stateError = ErrorCode::linkTimeout();
  EXPECT_EQ(answerTo(message("addRule", R"({"ruleText":"x"})")), "ok//1");
  EXPECT_EQ(state().at("isRunning"), false);
  EXPECT_EQ(state().at("locale"), "en");
  client_.stateError = ErrorCode::other("broken");
  client_.calls.clear();
  EXPECT_EQ(answerTo(message("addRule", R"({"ruleText":"x"})")), "error/broken/2");
  EXPECT_EQ(client_.calls, std::vector<std::string>{"appState"}) << "the command itself is not run";
  EXPECT_EQ(answerTo(message("init", R"({"apiVersion":"2"})")), "error/broken/3");
  EXPECT_EQ(reply_.at("parameters").at("isValidatedOnHost"), false);
}

TEST_F(RequestProcessingTest, DroppedMessagesTakeNoSerialAndNeverReachTheClient) {
  for (const char* dropped :
       {R"({"type":"init"})", R"({"type":5,"id":"r"})", R"({"type":"init","id":7})",
        R"({"type":"appState","id":"r"})", R"({"type":"Init","id":"r"})", "{}"}) {
    EXPECT_EQ(answerTo(dropped), "-") << dropped;
  }
  client_.isMute = true;  // as when the request could not be written
  EXPECT_EQ(answerTo(message("setProtectionStatus", R"({"isEnabled":true})")), "-");
  EXPECT_EQ(client_.calls.size(), 1U);
  EXPECT_EQ(answerTo(R"({"type":"getCurrentAppState","id":"r","parameters":"x","data":5})"),
            "ok//2");
}

TEST(ResponseStatusTest, EqualityLooksAtWhatErrorsCarry) {
  EXPECT_EQ(ResponseStatus::ok(), ResponseStatus::ok("text"));
  EXPECT_EQ(ResponseStatus::error({}), ResponseStatus::error({}));
  EXPECT_EQ(ResponseStatus::error("a"), ResponseStatus::error("a"));
  EXPECT_FALSE(ResponseStatus::error("a") == ResponseStatus::error("b"));
  EXPECT_FALSE(ResponseStatus::error("a") == ResponseStatus::error(ErrorCode::other("a")));
  EXPECT_FALSE(ResponseStatus::ok() == ResponseStatus::error({}));
  EXPECT_EQ(ResponseStatus::error({}).toDictionary(), (JsonObject{{"result", "error"}}));
  EXPECT_EQ(ResponseStatus::ok("t").toDictionary(), (JsonObject{{"result", "ok"}, {"data", "t"}}));
}

}  // namespace
}  // namespace corvane::RequestProcessing
