#include "corvane-nm/RequestProcessing/AppStateListener.h"

#include <gtest/gtest.h>

#include <future>

#include "tests/Support/TemporaryFolder.h"

namespace corvane::RequestProcessing {
namespace {

using namespace std::chrono_literals;

class AppStateListenerTest : public ::testing::Test {
 protected:
  AppStateListenerTest() {
    signalling_.setHandler(RequestResponseName::appState, [this] { ++ownersSignals_; });
  }
  void TearDown() override { handlers_.drain(60s); }

  /// What the main application's signal does.
  void signal() { signalling_.handler(RequestResponseName::appState)(); }
  bool ownerHearsIt() {
    const int before = ownersSignals_;
    signal();
    return ownersSignals_ > before;
  }

  const testing::TemporaryFolder folder_;
  Platform::NotificationCenter center_{folder_.path().string()};
  DispatchQueue handlers_{"SharedResourcesQueue"};
  DispatchQueue requests_{"SharedResourcesQueue.Requests"};
  RequestSignalling signalling_{center_, {handlers_, requests_}, "com.example.app", 0ms};
  std::atomic<int> ownersSignals_{0};
};

TEST_F(AppStateListenerTest, ASignalBeforeTheWaitIsForgotten) {
  AppStateListener listener(signalling_, 10ms);
  EXPECT_TRUE(ownerHearsIt());
  listener.interceptAppStateListener();
  EXPECT_FALSE(ownerHearsIt());
  EXPECT_FALSE(listener.waitAppStateNotificationAndReturnListener());
  EXPECT_TRUE(ownerHearsIt());
  listener.returnAppStateListener();
  EXPECT_TRUE(ownerHearsIt()) << "nothing is remembered: nothing changes";
}

TEST_F(AppStateListenerTest, TheSignalWakesAllWhoWaitAndThenGoesToItsOwner) {
  AppStateListener listener(signalling_, 60s);
  listener.interceptAppStateListener();
  const auto intercepting = signalling_.handler(RequestResponseName::appState);
  std::future<bool> waiting[2];
  for (auto& one : waiting) {
    one = std::async(std::launch::async,
                     [&] { return listener.waitAppStateNotificationAndReturnListener(); });
  }
  for (auto& one : waiting) {
    while (one.wait_for(1ms) != std::future_status::ready) intercepting();  // until it waits
    EXPECT_TRUE(one.get());
  }
  EXPECT_TRUE(ownerHearsIt());
}

TEST_F(AppStateListenerTest, InterceptedTwiceTheOwnerDoesNotGetItBack) {
  AppStateListener listener(signalling_, 0ms);
  listener.interceptAppStateListener();
  listener.interceptAppStateListener();
  listener.returnAppStateListener();
  EXPECT_FALSE(ownerHearsIt());
  listener.returnAppStateListener();
  EXPECT_FALSE(ownerHearsIt());
}

}  // namespace
}  // namespace corvane::RequestProcessing
