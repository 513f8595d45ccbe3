#include "VCommons/VCommonsKit/LentThread.h"

#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>

namespace corvane {
namespace {

using namespace std::chrono_literals;

TEST(LentThread, RunsIdleQueuesItselfInTheirTurnAndLeavesBusyOnesAlone) {
  DispatchQueue outer("outer");
  DispatchQueue inner("inner");
  std::string order;  // in turns of `inner`, but for "h", which ends before any of them
  std::thread::id ranOuter;
  std::thread::id ranSecond;
  std::promise<void> behind;
  {
    LentThread here;
    outer.asyncLent([&] {
      ranOuter = std::this_thread::get_id();
      inner.asyncLent([&] { order += '1'; });
      inner.async([&] {  // behind a turn that this thread has
        order += '2';
        ranSecond = std::this_thread::get_id();
      });
      order += 'h';
    });
    ASSERT_TRUE(here.hasTurn());
    EXPECT_EQ(order, "") << "nothing runs before the thread says so";
    here.useTurn();
    EXPECT_EQ(order, "h") << "the inner queue's turn waits until the outer one's has ended";
    EXPECT_FALSE(outer.isCurrent());
    ASSERT_TRUE(here.hasTurn());
    here.useTurn();
    EXPECT_EQ(order, "h12");
    EXPECT_FALSE(here.hasTurn());

    std::promise<void> gate;
    inner.async([&] { gate.get_future().wait(); });
    inner.asyncLent([&] { behind.set_value(); });
    EXPECT_FALSE(here.hasTurn()) << "somebody has the turn";
    gate.set_value();
    EXPECT_EQ(behind.get_future().wait_for(30s), std::future_status::ready);
    outer.asyncLent([&] { order += 'e'; });
  }
  EXPECT_EQ(order, "h12e") << "what is left is run in the end";
  EXPECT_EQ(ranOuter, std::this_thread::get_id());
  EXPECT_EQ(ranSecond, std::this_thread::get_id());
}

}  // namespace
}  // namespace corvane
