#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"

#include <gtest/gtest.h>
#include <sys/file.h>

#include <future>
#include <vector>

#include "Base/ErrorObject.h"
#include "tests/Support/LogCollector.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

using namespace std::chrono_literals;
using Error = ExtensionBrowserApiProtocol::Error;
namespace fs = std::filesystem;

constexpr char application[] = "com.example.app";
const std::string requests = "com.example.app.DARWIN_NOTIFICATION.exchange";

/// The real calls; somebody else may act when a lock has been given back, once.
struct ObservedCalls : Platform::SystemCalls {
  int flock(int descriptor, int operation) override {
    const int result = SystemCalls::flock(descriptor, operation);
    if (operation == LOCK_UN && onUnlock) std::exchange(onUnlock, nullptr)();
    return result;
  }
  std::function<void()> onUnlock;
};

/// One side's objects over the folder that both share.
struct Side {
  Side(const fs::path& folder, std::chrono::milliseconds limit, Platform::SystemCalls& calls)
      : center(folder.string()),
        buffer([folder] { return folder.string(); }, handlers, calls),
        signalling(center, {handlers, waiting}, application, limit) {}

  DispatchQueue handlers{"SharedResourcesQueue"};
  DispatchQueue waiting{"SharedResourcesQueue.Requests"};
  Platform::NotificationCenter center;
  ExchangeBuffer buffer;
  RequestSignalling signalling;
};

class ExtensionBrowserApiClientTest : public ::testing::Test {
 protected:
  ExtensionBrowserApiClientTest() {
    for (const char* key : {"ExchangeRequestContainer", "ExchangeResponseContainer.ME"})
      testing::writeFile(folder_.path() / (std::string(key) + ".data"), "");
    testing::takeLogTexts();
  }
  void TearDown() override { application_.center.withdraw(); }

  /// Lets the main application answer each request with what `answer` makes of it.
  void answerWith(std::function<ExchangeRecord(const ExchangeRecord&)> answer) {
    application_.center.observe(requests, [this, answer = std::move(answer)] {
      const auto request =
          application_.buffer.getExchange("ExchangeRequestContainer", std::nullopt);
      if (request) give(answer(*request));
    });
  }
  void give(const ExchangeRecord& record) {
    application_.buffer.setExchange("ExchangeResponseContainer.ME", record.id, record.name,
                                    record.body);
    application_.center.post(requests + ".ME");
  }
  [[nodiscard]] std::shared_ptr<ExtensionBrowserApiClient> client(Side& side) {
    return ExtensionBrowserApiClient::make({side.buffer, side.signalling, workQueue_, "ME"});
  }
  /// The reply to an HTTPS switch: the flag and what the error says, "none" without one.
  std::pair<bool, std::string> switchHttps(Side& side) {
    std::promise<std::pair<bool, std::string>> reply;
    const auto held = client(side);  // as long as somebody holds it
    held->setHttpsFilteringStatus("u", true, [&](bool result, const Error& error) {
      reply.set_value({result, error ? error->description() : "none"});
    });
    return reply.get_future().get();
  }
  [[nodiscard]] std::string left(const std::string& key) const {
    return testing::contentOf(folder_.path() / (key + ".data"));
  }

  testing::TemporaryFolder folder_;
  ObservedCalls calls_;
  Side application_{folder_.path(), 0ms, Platform::SystemCalls::system()};
  Side patient_{folder_.path(), 60s, calls_};
  Side hasty_{folder_.path(), 20ms, calls_};
  DispatchQueue workQueue_{"ExtensionBrowserApiClient.sharedWorkQueue"};
};

TEST_F(ExtensionBrowserApiClientTest, PicksResultAndErrorOutOfTheReply) {
  using Reply = std::pair<bool, std::string>;
  const std::pair<std::optional<Dictionary>, Reply> cases[] = {
      {std::nullopt, {false, "none"}},
      {Dictionary{{"result", true}}, {true, "none"}},
      {Dictionary{{"result", 1}}, {false, "none"}},
      {Dictionary{{"error", "a text is no error"}}, {false, "none"}},
      {Dictionary{
           {"result", true},
           {"error", ErrorObject{"D", 17, Dictionary{{"NSLocalizedDescription", "No window"}}}}},
       {true, "Error Domain=D Code=17 \"No window\" UserInfo={NSLocalizedDescription=No window}"}},
  };
  for (const auto& [body, expected] : cases) {
    answerWith([&body = body](const ExchangeRecord& request) {
      return ExchangeRecord{request.id, request.name, body};
    });
    EXPECT_EQ(switchHttps(patient_), expected);
  }
  bool isLogged = false;
  for (const std::string& text : testing::takeLogTexts())
    isLogged = isLogged || text.ends_with("Error occured: " + std::rbegin(cases)->second.second);
  EXPECT_TRUE(isLogged);
}

TEST_F(ExtensionBrowserApiClientTest, OnlyTheAnswerToItsOwnRequestCounts) {
  const std::pair<bool, std::string> timeout = {false,
                                                "Can't connect to main app, timeout reached."};
  EXPECT_EQ(switchHttps(hasty_), timeout) << "nobody is there";
  EXPECT_FALSE(left("ExchangeRequestContainer").empty());
  application_.buffer.clearExchange("ExchangeRequestContainer");
  answerWith([](const ExchangeRecord& request) {
    return ExchangeRecord{"YOU", request.name, Dictionary{{"result", true}}};
  });
  EXPECT_EQ(switchHttps(patient_), timeout) << "another client's";
  EXPECT_EQ(left("ExchangeResponseContainer.ME"), "") << "what nobody waits for is thrown away";
  answerWith([this](const ExchangeRecord& request) {
    give({request.id, request.name, Dictionary{{"result", true}}});
    return ExchangeRecord{request.id, "addRule", std::nullopt};  // late, on top of the answer
  });
  EXPECT_EQ(switchHttps(patient_).second, "none");
}

/// The main application, awake because another process woke it, answers as soon as the file is
/// free.
TEST_F(ExtensionBrowserApiClientTest, NoReplyIsLostThatComesBeforeTheRequestIsPosted) {
  calls_.onUnlock = [this] {
    const auto request = application_.buffer.getExchange("ExchangeRequestContainer", std::nullopt);
    ASSERT_TRUE(request);
    give({request->id, request->name, Dictionary{{"result", true}}});
  };
  EXPECT_EQ(switchHttps(patient_), std::pair(true, std::string("none")));
  EXPECT_FALSE(calls_.onUnlock);
}

TEST_F(ExtensionBrowserApiClientTest, ExchangesRunOneAfterAnotherInTheOrderOfTheCalls) {
  std::vector<std::string> order;  // both sides write to it, in turns
  answerWith([&](const ExchangeRecord& request) {
    order.push_back("request " + request.name);
    return ExchangeRecord{request.id, request.name, std::nullopt};
  });
  const auto shared = client(patient_);
  shared->openSettings([&](const Error&) { order.push_back("reply 1"); });
  shared->updateApp([&](const Error&) { order.push_back("reply 2"); });
  ASSERT_TRUE(workQueue_.drain(60s));
  EXPECT_EQ(order, (std::vector<std::string>{"request openSettings", "reply 1", "request updateApp",
                                             "reply 2"}));
}

TEST_F(ExtensionBrowserApiClientTest, NobodyIsCalledWhenTheRequestIsRefusedOrTheClientIsGone) {
  const auto held = std::make_shared<int>();
  const auto reply = [held](const Error&) { ADD_FAILURE() << "called"; };
  auto shared = client(patient_);
  shared->addRule(std::string(ExchangeBuffer::maximumObjectLength, 'x'), reply);
  ASSERT_TRUE(workQueue_.drain(60s));
  std::promise<void> goOn;
  workQueue_.async([&] { goOn.get_future().wait(); });
  shared->openSettings(reply);
  shared.reset();
  goOn.set_value();
  ASSERT_TRUE(workQueue_.drain(60s));
  EXPECT_EQ(held.use_count(), 2) << "only this test and its own copy hold it";
  EXPECT_EQ(left("ExchangeRequestContainer"), "");
}

TEST_F(ExtensionBrowserApiClientTest, RequestsTakeTurnsAndAnyReplyOfTheProcessEndsTheWait) {
  constexpr auto exchange = RequestResponseName::exchange;
  EXPECT_FALSE(patient_.signalling.sendRequest(exchange, "other", [] { return false; }));
  std::promise<void> posted;
  application_.center.observe(requests, [&posted] { posted.set_value(); });
  auto waiting = std::async(std::launch::async,
                            [&] { return patient_.signalling.sendRequest(exchange, "42"); });
  posted.get_future().wait();
  EXPECT_FALSE(patient_.waiting.drain(0ms));
  application_.center.post(requests + ".other");
  EXPECT_TRUE(waiting.get());
}

}  // namespace
}  // namespace corvane
