#include "SharedComponents/ExtensionBrowserApi/ExtensionBrowserApiClient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "Base/ErrorObject.h"
#include "tests/Support/LogCollector.h"
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

  SerialQueue handlers;
  SerialQueue requests;
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
    return ExtensionBrowserApiClient::make({loop_, side.buffer, side.signalling, workQueue_, "ME"});
  }
  /// Whether a request is answered; `meanwhile` runs once the client listens.
  bool isAnswered(
      Side& side, const std::function<void()>& meanwhile = [] {}) {
    std::optional<bool> answer;
    const auto held = client(side);  // as long as it is held
    held->openSettings([&](const Error& error) { answer = !error; });
    EXPECT_FALSE(answer) << "later, on the loop";
    turnThrough(loop_);
    meanwhile();
    EXPECT_TRUE(turnUntil(loop_, [&] { return answer.has_value(); }));
    return answer.value_or(false);
  }
  [[nodiscard]] std::string left(const std::string& key) const {
    return testing::contentOf(folder_.path() / (key + ".data"));
  }

  testing::TemporaryFolder folder_;
  Platform::EventLoop loop_;
  SerialQueue workQueue_{loop_, "ExtensionBrowserApiClient.sharedWorkQueue"};
  Side application_{loop_, folder_.path(), 0ms};
  Side patient_{loop_, folder_.path(), 60s};
};

TEST_F(ExtensionBrowserApiClientTest, OnlyTheAnswerToItsOwnRequestCounts) {
  Side late(loop_, folder_.path(), 0ms);  // its time is up as soon as the request is posted
  for (const auto& [side, id, reads] :
       {std::tuple(&late, "ME", 1), {&late, "YOU", 1}, {&patient_, "YOU", 100}}) {
    VCLFileLocker other(folder_.path() / "ExchangeRequestContainer.data");
    ASSERT_TRUE(other.lock());
    EXPECT_EQ(id == std::string("ME"), isAnswered(*side, [&, &whose = id] {
                give({whose, "openSettings", std::nullopt});
                testing::takeLogTexts();
                other.unlock();
              }));
    const auto lines = testing::takeLogTexts();
    EXPECT_EQ(reads, std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
                return line.find("Exchange object lenData") != std::string::npos;
              }));
    EXPECT_EQ(left("ExchangeResponseContainer.ME"), "")
        << "a reply without a waiting request is dropped";
  }
  answerWith([this](const ExchangeRecord& request) {
    give({request.id, request.name, std::nullopt});
    return ExchangeRecord{request.id, "addRule", std::nullopt};  // late, on top of the answer
  });
  EXPECT_TRUE(isAnswered(patient_));
}

TEST_F(ExtensionBrowserApiClientTest, ExchangesRunOneAfterAnotherInTheOrderOfTheCalls) {
  std::vector<std::string> order;
  answerWith([&](const ExchangeRecord& request) {
    order.push_back("request " + request.name);
    return ExchangeRecord{request.id, request.name, std::nullopt};
  });
  const auto shared = client(patient_);
  SerialQueue::Hold hold;
  shared->openSettings([&](const Error&) {
    order.emplace_back("reply 1");
    hold = workQueue_.hold();
  });
  shared->updateApp([&](const Error&) { order.emplace_back("reply 2"); });
  EXPECT_TRUE(turnUntil(loop_, [&] { return order.size() == 2; }));
  turnThrough(loop_);
  EXPECT_EQ(order.size(), 2U) << "held";
  hold = {};
  EXPECT_TRUE(turnUntil(loop_, [&] { return order.size() == 4; }));
  EXPECT_EQ(order, (std::vector<std::string>{"request openSettings", "reply 1", "request updateApp",
                                             "reply 2"}));
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
  workQueue_.async([&] { isNextStarted = true; });
  EXPECT_TRUE(turnUntil(loop_, [&] { return isNextStarted; }));
  EXPECT_EQ(left("ExchangeRequestContainer"), "");
}

TEST_F(ExtensionBrowserApiClientTest, RequestsTakeTurnsAndCountOnlyRepliesThatComeMeanwhile) {
  using enum RequestSignalling::Outcome;
  std::string events;
  UniqueFunction<void(bool)> publish;
  const auto send = [&](const std::string& name, RequestSignalling::Begin begin = {}) {
    patient_.signalling.sendRequest(RequestResponseName::exchange, name, std::move(begin),
                                    [&, name](RequestSignalling::Outcome outcome) {
                                      events +=
                                          name + (outcome == answered ? ":answered " : ":refused ");
                                    });
  };
  const auto come = [&](const std::string& expected) {
    EXPECT_TRUE(turnUntil(loop_, [&] { return events.size() >= expected.size(); }));
    turnThrough(loop_);
    EXPECT_EQ(std::exchange(events, ""), expected);
  };
  int posts = 0;  // at least, as a system may merge them
  (void)application_.center.observe(requests, [&] { ++posts; });
  send("1", [&, text = std::string("begin ")](auto done) {
    done(false);
    events += text;  // what began the request may go on
  });
  send("2", [&](auto done) { publish = std::move(done); });
  send("3");
  send("");
  come("1:refused begin ");
  EXPECT_EQ(posts, 0);
  application_.center.post(requests + ".2");  // before it was posted
  application_.center.post(requests + ".3");  // before it was its turn
  turnThrough(loop_);
  EXPECT_EQ(events, "");
  publish(true);
  come("2:answered ");
  EXPECT_TRUE(turnUntil(loop_, [&] { return posts >= 1; }));
  application_.center.post(requests + ".3");
  come("3:answered :answered ");
  EXPECT_TRUE(turnUntil(loop_, [&] { return posts >= 2; }));
}

}  // namespace
}  // namespace corvane
