#include "SharedComponents/RequestSignalling.h"

#include <gtest/gtest.h>

#include <future>

#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto exchange = RequestResponseName::exchange;
constexpr auto longLimit = 60s;  // nobody waits that long: what is waited for comes

class RequestSignallingTest : public ::testing::Test {
 protected:
  /// How many processes hear `name`.
  [[nodiscard]] long observers(const std::string& name) const {
    std::error_code none;
    return std::distance(fs::directory_iterator(folder_.path() / "Notifications" / name, none), {});
  }
  /// The main application's part.
  void answer(const std::string& responseId) {
    application_.post("com.example.app.DARWIN_NOTIFICATION.exchange." + responseId);
  }

  testing::TemporaryFolder folder_;
  Platform::NotificationCenter application_{folder_.path().string()};
  Platform::NotificationCenter center_{folder_.path().string()};
  DispatchQueue handlers_{"SharedResourcesQueue"};
  DispatchQueue requests_{"SharedResourcesQueue.Requests"};
  RequestSignalling signalling_{center_, {handlers_, requests_}, "com.example.app", longLimit};
};

TEST_F(RequestSignallingTest, HandlersAreReplacedKeptAndRemoved) {
  constexpr auto name = RequestResponseName::appState;
  int called = 0;
  for (const int i : {1, 2}) {
    signalling_.setHandler(name, [&called, i] { called = i; });
    signalling_.handler(name)();
    EXPECT_EQ(called, i);
  }
  EXPECT_EQ(observers("com.example.app.DARWIN_NOTIFICATION.appState"), 1) << "one for all";
  EXPECT_FALSE(signalling_.handler(RequestResponseName::ready));
  signalling_.setHandler(name, {});
  EXPECT_FALSE(signalling_.handler(name));
}

TEST_F(RequestSignallingTest, RequestsTakeTurnsAndAnyReplyOfTheProcessEndsTheWait) {
  const RequestSignalling::ReplyListener other(signalling_, exchange, "other");
  std::promise<void> posted;
  application_.observe("com.example.app.DARWIN_NOTIFICATION.exchange",
                       [&posted, first = true]() mutable {
                         if (std::exchange(first, false)) posted.set_value();
                       });
  auto waiting =
      std::async(std::launch::async, [this] { return signalling_.sendRequest(exchange, "42"); });
  posted.get_future().wait();
  EXPECT_FALSE(requests_.drain(0ms));
  answer("other");
  EXPECT_TRUE(waiting.get());
}

}  // namespace
}  // namespace corvane
