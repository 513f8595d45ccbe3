#include "VCommons/VCommonsKit/DispatchQueue.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "Platform/MainQueue.h"

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
  int inside = 0;
  int most = 0;
  int total = 0;
  const auto count = [&] {
    most = std::max(most, ++inside);
    ++total;
    --inside;
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        if ((i + t) % 2 == 0) {
          queue.async(count);
        } else {
          queue.sync(count);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(queue.drain(deadline));
  EXPECT_EQ(most, 1);
  EXPECT_EQ(total, 8000);
}

TEST(DispatchQueue, NeedsNoThreadForSync) {
  DispatchQueue queue("sync only");
  std::thread::id ran;
  queue.sync([&] {
    ran = std::this_thread::get_id();
    EXPECT_TRUE(queue.isCurrent());
    EXPECT_FALSE(queue.drain(deadline)) << "it would wait for itself";
  });
  EXPECT_EQ(ran, std::this_thread::get_id());
  EXPECT_FALSE(queue.isCurrent());
}

TEST(DispatchQueueDeathTest, SyncOnItselfEndsTheProcessWithItsName) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_DEATH(
      {
        DispatchQueue outer("the outer one");
        DispatchQueue inner("the inner one");
        outer.sync([&] { inner.sync([&] { outer.sync([] {}); }); });
      },
      "the outer one");
}

TEST(DispatchQueue, TasksOwnWhatCannotBeCopied) {
  auto owned = std::make_unique<int>(7);
  std::promise<int> seen;
  DispatchQueue queue("owner");
  queue.async(
      [&seen, owned = std::move(owned), padding = std::vector<int>(3),
       more = std::string(40, 'x')] { seen.set_value(*owned + static_cast<int>(padding.size())); });
  EXPECT_EQ(seen.get_future().get(), 10);
}

TEST(MainQueue, RunsTasksAtOnceAndEndsItsTurnAfterWhatWasQueued) {
  namespace MainQueue = Platform::MainQueue;
  std::vector<int> order;
  std::thread other([&] {
    MainQueue::async([&] { order.push_back(1); });
    MainQueue::endTurn();
    MainQueue::async([&] { order.push_back(2); });
  });
  MainQueue::turnUntil(std::chrono::steady_clock::now() + deadline);
  EXPECT_EQ(order, std::vector<int>{1});
  other.join();
  MainQueue::endTurn();
  MainQueue::turnUntil(std::chrono::steady_clock::now() + deadline);
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  MainQueue::turnUntil(std::chrono::steady_clock::now());  // a moment that has come ends it
}

}  // namespace
}  // namespace corvane
