#include "corvane-nm/RequestProcessing/AppStateListener.h"

#include <gtest/gtest.h>

#include "tests/Support/TemporaryFolder.h"
#include "tests/Support/Turning.h"

namespace corvane::RequestProcessing {
namespace {

using namespace std::chrono_literals;

class AppStateListenerTest : public ::testing::Test {
 protected:
  AppStateListenerTest() {
    signalling_.setHandler(RequestResponseName::appState, [this] { ++ownersSignals_; });
  }

  /// What the main application's signal does.
  void signal() { signalling_.handler(RequestResponseName::appState)(); }
  bool ownerHearsIt() {
    const int before = ownersSignals_;
    signal();
    return ownersSignals_ > before;
  }
  /// Waits, and notes the outcome as a letter.
  void wait(AppStateListener& listener) {
    listener.waitAppStateNotificationAndReturnListener(
        [this, text = std::string(100, '.')](bool came) { outcomes_ += came ? 't' : 'f'; });
  }
  bool outcomesAre(const std::string& expected) {
    return testing::turnUntil(loop_, [&] { return outcomes_ == expected; });
  }

  const testing::TemporaryFolder folder_;
  Platform::EventLoop loop_;
  Platform::NotificationCenter center_{loop_, folder_.path().string()};
  SerialOrder handlers_{loop_, "SharedResourcesQueue"};
  SerialOrder requests_{loop_, "SharedResourcesQueue.Requests"};
  RequestSignalling signalling_{loop_, center_, {handlers_, requests_}, "com.example.app", 0ms};
  int ownersSignals_ = 0;
  std::string outcomes_;
};

TEST_F(AppStateListenerTest, ASignalBeforeTheWaitIsForgotten) {
  AppStateListener listener(loop_, signalling_, 10ms);
  EXPECT_TRUE(ownerHearsIt());
  listener.interceptAppStateListener();
  EXPECT_FALSE(ownerHearsIt());
  wait(listener);
  EXPECT_TRUE(outcomesAre("f"));
  EXPECT_TRUE(ownerHearsIt());
  listener.returnAppStateListener();
  EXPECT_TRUE(ownerHearsIt()) << "nothing is remembered: nothing changes";
}

TEST_F(AppStateListenerTest, TheSignalEndsAllWaitsAndThenGoesToItsOwner) {
  AppStateListener listener(loop_, signalling_, 60s);
  listener.interceptAppStateListener();
  for (int i = 0; i < 2; ++i) wait(listener);
  testing::turnThrough(loop_);
  EXPECT_EQ(outcomes_, "");
  for (int i = 0; i < 2; ++i) signal();
  EXPECT_EQ(outcomes_, "") << "later, on the loop";
  wait(listener);
  EXPECT_TRUE(outcomesAre("tt"));
  EXPECT_TRUE(ownerHearsIt());
  testing::turnThrough(loop_);
  EXPECT_EQ(outcomes_, "tt") << "the third wait began after the signals";
}

}  // namespace
}  // namespace corvane::RequestProcessing
