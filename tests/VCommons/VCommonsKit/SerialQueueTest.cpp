#include "VCommons/VCommonsKit/SerialQueue.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/Support/Turning.h"

namespace corvane {
namespace {

using namespace std::chrono_literals;
using Platform::EventLoop;
using testing::turnThrough;

class SerialQueueTest : public ::testing::Test {
 protected:
  void add(char name) {
    serial_.async([this, name] { ran_ += name; });
  }

  EventLoop loop_;
  SerialQueue serial_{loop_, "the order"};
  SerialQueue other_{loop_, "another order"};
  std::string ran_;
};

TEST_F(SerialQueueTest, TasksStartLaterInOrderAndNoneInsideAnother) {
  serial_.async([&] {
    add('3');
    other_.async([&] { ran_ += '4'; });
    other_.sync([&] { ran_ += 's'; });  // runs what is pending there first
    ran_ += '1';
  });
  add('2');
  EXPECT_EQ(ran_, "");
  turnThrough(loop_);
  EXPECT_EQ(ran_, "4s123");
}

TEST_F(SerialQueueTest, NothingStartsWhileItIsHeld) {
  SerialQueue::Hold outer = serial_.hold();
  add('1');
  add('2');
  SerialQueue::Hold inner = serial_.hold();
  turnThrough(loop_);
  other_.async([&] { ran_ += 'o'; });
  turnThrough(loop_);
  EXPECT_EQ(ran_, "o") << "only the other order goes on";
  outer = {};
  add('3');
  turnThrough(loop_);
  EXPECT_EQ(ran_, "o") << "held once more";
  SerialQueue::Hold moved = std::move(inner);
  turnThrough(loop_);
  EXPECT_EQ(ran_, "o");
  moved = {};
  EXPECT_EQ(ran_, "o") << "tasks start on the loop";
  add('4');
  turnThrough(loop_);
  EXPECT_EQ(ran_, "o1234");
}

/// As an operation does that waits for a reply.
TEST_F(SerialQueueTest, ATaskGoesOnInItsContinuationWhetherThatRunsOrIsDestroyed) {
  EventLoop::Registration pending;
  for (const char name : {'a', 'b'}) {
    serial_.async([&, name] {
      ran_ += name;
      pending = loop_.at(EventLoop::now() + (name == 'a' ? 1h : 1ms),
                         [&, hold = serial_.hold()] { ran_ += '+'; });
      add('2');
    });
  }
  add('1');
  turnThrough(loop_);
  EXPECT_EQ(ran_, "a");
  pending = {};  // uncalled
  EXPECT_TRUE(testing::turnUntil(loop_, [&] { return ran_.size() == 6; }));
  EXPECT_EQ(ran_, "ab+122");
}

TEST(SerialQueueDeathTest, SyncThatCouldNeverReturnEndsTheProcessWithTheName) {
  ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
  const auto run = [](bool isHeld) {
    EventLoop loop;
    SerialQueue outer(loop, "the outer one");
    SerialQueue inner(loop, "the inner one");
    SerialQueue::Hold hold;
    if (isHeld) hold = outer.hold();
    outer.sync([&] { inner.sync([&] { outer.sync([] {}); }); });
  };
  EXPECT_DEATH(run(true), "the outer one");
  EXPECT_DEATH(run(false), "the outer one");
}

}  // namespace
}  // namespace corvane
