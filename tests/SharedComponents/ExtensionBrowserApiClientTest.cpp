#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"

#include <gtest/gtest.h>

#include <vector>

#include "Base/ErrorObject.h"
#include "tests/Support/TemporaryFolder.h"
#include "tests/Support/Turning.h"

namespace corvane {
namespace {

using namespace std::chrono_literals;
using testing::turnThrough;
using testing::turnUntil;
using Error = ExtensionBrowserApiProtocol::Error;
namespace fs = std::filesystem;

constexpr char application[] = "com.example.app";
const std::string requests = "com.example.app.DARWIN_NOTIFICATION.exchange";

/// One side's objects over the folder that both share.
struct Side {
  Side(Platform::EventLoop& loop, const fs::path& folder, std::chrono::milliseconds limit)
      : handlers(loop, "SharedResourcesQueue"),
        requests(loop, "SharedResourcesQueue.Requests"),
        center(loop, folder.string()),
        buffer(loop, [folder] { return folder.string(); }),
        signalling(loop, center, {handlers, requests}, application, limit) {}

  SerialOrder handlers;
  SerialOrder requests;
  Platform::NotificationCenter center;
  ExchangeBuffer buffer;
  RequestSignalling signalling;
};

class ExtensionBrowserApiClientTest : public ::testing::Test {
 protected:
  ExtensionBrowserApiClientTest() {
    for (const char* key : {"ExchangeRequestContainer", "ExchangeResponseContainer.ME"})
      testing::writeFile(folder_.path() / (std::string(key) + ".data"), "");
  }

  /// Lets the main application answer each request with what `answer` makes of it.
  void answerWith(std::function<ExchangeRecord(const ExchangeRecord&)> answer) {
    (void)application_.center.observe(requests, [this, answer = std::move(answer)] {
      takeRequest([&](const ExchangeRecord& request) { give(answer(request)); });
    });
  }
  void takeRequest(const std::function<void(const ExchangeRecord&)>& use) {
    application_.buffer.getExchange("ExchangeRequestContainer", std::nullopt,
                                    [&](const std::optional<ExchangeRecord>& request) {
                                      if (request) use(*request);
                                    });
  }
  void give(const ExchangeRecord& record) {
    application_.buffer.setExchange("ExchangeResponseContainer.ME", record.id, record.name,
                                    record.body, [this](bool isTaken) {
                                      EXPECT_TRUE(isTaken);
                                      application_.center.post(requests + ".ME");
                                    });
  }
  [[nodiscard]] std::shared_ptr<ExtensionBrowserApiClient> client(Side& side) {
    return ExtensionBrowserApiClient::make({loop_, side.buffer, side.signalling, workOrder_, "ME"});
  }
  /// The reply to an HTTPS switch: the flag and what the error says, "none" without one.
  std::pair<bool, std::string> switchHttps(Side& side) {
    std::optional<std::pair<bool, std::string>> reply;
    const auto held = client(side);  // as long as somebody holds it
    held->setHttpsFilteringStatus("u", true, [&](bool result, const Error& error) {
      reply.emplace(result, error ? error->description() : "none");
    });
    EXPECT_FALSE(reply) << "later, on the loop";
    EXPECT_TRUE(turnUntil(loop_, [&] { return reply.has_value(); }));
    return reply.value_or(std::pair(false, std::string("no reply")));
  }
  [[nodiscard]] std::string left(const std::string& key) const {
    return testing::contentOf(folder_.path() / (key + ".data"));
  }

  testing::TemporaryFolder folder_;
  Platform::EventLoop loop_;
  SerialOrder workOrder_{loop_, "ExtensionBrowserApiClient.sharedWorkQueue"};
  Side application_{loop_, folder_.path(), 0ms};
  Side patient_{loop_, folder_.path(), 60s};
  Side hasty_{loop_, folder_.path(), 20ms};
};

TEST_F(ExtensionBrowserApiClientTest, OnlyTheAnswerToItsOwnRequestCounts) {
  answerWith([](const ExchangeRecord& request) {
    return ExchangeRecord{"YOU", request.name, Dictionary{{"result", true}}};
  });
  EXPECT_FALSE(switchHttps(patient_).first) << "another client's";
  EXPECT_EQ(left("ExchangeResponseContainer.ME"), "") << "what nobody waits for is thrown away";
  answerWith([this](const ExchangeRecord& request) {
    give({request.id, request.name, Dictionary{{"result", true}}});
    return ExchangeRecord{request.id, "addRule", std::nullopt};  // late, on top of the answer
  });
  EXPECT_EQ(switchHttps(patient_).second, "none");
}

/// Also while another process has the lock of a file.
TEST_F(ExtensionBrowserApiClientTest, ExchangesRunOneAfterAnotherInTheOrderOfTheCalls) {
  std::vector<std::string> order;
  answerWith([&](const ExchangeRecord& request) {
    order.push_back("request " + request.name);
    return ExchangeRecord{request.id, request.name, std::nullopt};
  });
  const auto shared = client(patient_);
  for (const char* contended : {"", "ExchangeRequestContainer", "ExchangeResponseContainer.ME"}) {
    VCLFileLocker other(folder_.path() / (std::string(contended) + ".data"));
    ASSERT_TRUE(other.lock());
    SerialOrder::Hold hold;
    order.clear();
    shared->openSettings([&](const Error&) {
      order.emplace_back("reply 1");
      hold = workOrder_.hold();
    });
    shared->updateApp([&](const Error&) { order.emplace_back("reply 2"); });
    turnThrough(loop_);
    EXPECT_TRUE(order.size() < 2 || *contended == '\0');
    other.unlock();
    EXPECT_TRUE(turnUntil(loop_, [&] { return order.size() == 2; }));
    turnThrough(loop_);
    EXPECT_EQ(order.size(), 2U) << "held";
    hold = {};
    EXPECT_TRUE(turnUntil(loop_, [&] { return order.size() == 4; }));
    EXPECT_EQ(order, (std::vector<std::string>{"request openSettings", "reply 1",
                                               "request updateApp", "reply 2"}));
  }
}

TEST_F(ExtensionBrowserApiClientTest, NobodyIsCalledWhenTheRequestIsRefusedOrTheClientIsGone) {
  const auto held = std::make_shared<int>();
  const auto reply = [held](const Error&) { ADD_FAILURE() << "called"; };
  auto shared = client(patient_);
  shared->addRule(std::string(ExchangeBuffer::maximumObjectLength, 'x'), reply);
  EXPECT_TRUE(turnUntil(loop_, [&] { return held.use_count() == 2; }));
  shared->openSettings(reply);
  shared.reset();
  EXPECT_TRUE(turnUntil(loop_, [&] { return held.use_count() == 2; }))
      << "only this test and its own copy hold it";
  bool isNextStarted = false;
  workOrder_.async([&] { isNextStarted = true; });
  EXPECT_TRUE(turnUntil(loop_, [&] { return isNextStarted; }));
  EXPECT_EQ(left("ExchangeRequestContainer"), "");
}

TEST_F(ExtensionBrowserApiClientTest, RequestsTakeTurnsAndCountOnlyRepliesThatComeMeanwhile) {
  using enum RequestSignalling::Outcome;
  std::string events;
  UniqueFunction<void(bool)> publish;
  const auto send = [&](Side& side, const std::string& name, RequestSignalling::Begin begin = {}) {
    side.signalling.sendRequest(RequestResponseName::exchange, name, std::move(begin),
                                [&, name](RequestSignalling::Outcome outcome) {
                                  events += name + (outcome == answered   ? ":answered "
                                                    : outcome == timedOut ? ":timedOut "
                                                                          : ":refused ");
                                });
  };
  const auto come = [&](const std::string& expected) {
    EXPECT_TRUE(turnUntil(loop_, [&] { return events.size() >= expected.size(); }));
    turnThrough(loop_);
    EXPECT_EQ(std::exchange(events, ""), expected);
  };
  (void)application_.center.observe(requests, [&] { events += "post "; });
  send(patient_, "1", [&, text = std::string("begin ")](auto done) {
    done(false);
    events += text;  // what began the request may go on
  });
  send(patient_, "2", [&](auto done) { publish = std::move(done); });
  send(patient_, "3");
  send(patient_, "");
  come("1:refused begin ");
  application_.center.post(requests + ".2");  // before it was posted
  application_.center.post(requests + ".3");  // before it was its turn
  turnThrough(loop_);
  EXPECT_EQ(events, "");
  publish(true);
  come("2:answered post post ");  // the second one is that of the next request
  application_.center.post(requests + ".3");
  come("3:answered :answered post ");
  send(hasty_, "4");
  come("post 4:timedOut ");
  application_.center.post(requests + ".4");
  send(hasty_, "4");
  come("post 4:timedOut ");
}

}  // namespace
}  // namespace corvane
