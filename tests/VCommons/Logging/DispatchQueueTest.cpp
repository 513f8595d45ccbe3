#include "VCommons/Logging/DispatchQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace corvane {
namespace {

using namespace std::chrono_literals;
constexpr auto deadline = 30s;

TEST(DispatchQueue, KeepsTheOrderOfTasksAndSyncCallers) {
  DispatchQueue queue("order");
  std::vector<int> order;  // only on the queue
  std::promise<void> gate;
  queue.async([&] { gate.get_future().wait(); });
  queue.async([&] { order.push_back(1); });
  std::promise<void> callerIsThere;
  std::thread caller([&] {
    queue.async([&] { order.push_back(2); });
    callerIsThere.set_value();
    queue.sync([&] { order.push_back(3); });
    order.push_back(4);  // after the turn, joined below
  });
  callerIsThere.get_future().wait();
  EXPECT_FALSE(queue.drain(0ms)) << "nothing can have run behind the gate";
  gate.set_value();
  caller.join();
  EXPECT_TRUE(queue.drain(deadline));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST(DispatchQueue, NeverRunsTwoAtOnceAndLosesNone) {
  DispatchQueue queue("contended");
  int total = 0;  // two at once would lose counts
  const auto count = [&] { ++total; };
  std::vector<std::thread> threads(4);
  for (std::thread& thread : threads) {
    thread = std::thread([&] {
      for (int i = 0; i < 5000; ++i) i % 2 == 0 ? queue.async(count) : queue.sync(count);
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(queue.drain(deadline));
  EXPECT_EQ(total, 20000);
}

TEST(DispatchQueueDeathTest, SyncOnItselfEndsTheProcessWithItsName) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  DispatchQueue outer("the outer one");
  DispatchQueue inner("the inner one");
  EXPECT_DEATH(outer.sync([&] { inner.sync([&] { outer.sync([] {}); }); }), "the outer one");
}

}  // namespace
}  // namespace corvane
