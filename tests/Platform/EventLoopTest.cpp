#include "Platform/EventLoop.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/SystemCalls.h"
#include "tests/Support/Ends.h"
#include "tests/Support/Turning.h"

namespace corvane::Platform {
namespace {

using namespace std::chrono_literals;
using testing::Ends;
using testing::turnThrough;
using testing::turnUntil;
using Registration = EventLoop::Registration;

class EventLoopTest : public ::testing::Test {
 protected:
  /// A task that notes that it ran. It owns more than fits in place, and uses it.
  [[nodiscard]] auto note(char name) {
    return [this, text = std::string(100, name)] { order_ += text.back(); };
  }
  void turnToItsEnd() { loop_.turnUntil(EventLoop::now() + testing::patience); }

  EventLoop loop_;
  std::string order_;
};

TEST_F(EventLoopTest, RunsTasksInOrderAndEndsATurnAfterThosePostedBefore) {
  loop_.post([&] {
    order_ += '1';
    loop_.post(note('3'));
    loop_.endTurn();
    loop_.post(note('4'));
  });
  loop_.post(note('2'));
  turnToItsEnd();
  EXPECT_EQ(order_, "123");
  loop_.endTurn();
  loop_.post(note('5'));
  turnToItsEnd();
  EXPECT_EQ(order_, "1234");
  loop_.turnUntil(EventLoop::now() - 1h);
  loop_.turnUntil(EventLoop::now());
  EXPECT_EQ(order_, "12345") << "a moment that has passed ends the turn, and loses nothing";
}

TEST_F(EventLoopTest, LosesNoTaskOfAnotherThreadAndKeepsItsOrder) {
  constexpr int eachPosts = 2000;
  std::array<int, 4> lasts{};  // of each thread
  std::size_t left = lasts.size() * eachPosts;
  std::vector<std::thread> threads;
  threads.reserve(lasts.size());
  for (int& last : lasts) {
    threads.emplace_back([&, &last = last] {
      std::binary_semaphore ran(0);
      for (int i = 1; i <= eachPosts; ++i) {
        const bool isAwaited = i % 10 == 0;  // so that the loop falls asleep at times
        loop_.post([&, i, isAwaited] {
          EXPECT_EQ(std::exchange(last, i), i - 1);
          if (--left == 0) loop_.endTurn();
          if (isAwaited) ran.release();
        });
        if (isAwaited) ran.acquire();
      }
    });
  }
  turnToItsEnd();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(left, 0U);
}

TEST_F(EventLoopTest, TimersRunOnceInTheOrderOfTheirDeadlinesAndNotBefore) {
  const auto start = EventLoop::now();
  std::vector<Registration> timers;
  for (const auto& [offset, name] :
       {std::pair(4ms, '5'), {1ms, '2'}, {-1h, '1'}, {1ms, '3'}, {2ms, '4'}}) {
    timers.push_back(loop_.at(start + offset, [&, deadline = start + offset, name = name] {
      EXPECT_GE(EventLoop::now(), deadline);
      order_ += name;
      if (name == '5') loop_.endTurn();
    }));
  }
  turnToItsEnd();
  EXPECT_EQ(order_, "12345");

  struct : SystemCalls {
    EventLoop::Clock::time_point steadyNow() override { return SystemCalls::steadyNow() + 1h; }
  } ahead;
  const SystemCalls::Replacement replacement(ahead);
  timers.push_back(loop_.at(start + 1h, note('6')));
  loop_.turnUntil(start);
  EXPECT_EQ(order_, "123456") << "judged by the clock in use";
}

/// All of them are due when the first one runs, or are cancelled by a task or a handler that comes
/// before.
TEST_F(EventLoopTest, TimersAndWatchesEndThemselvesAndOthersUntilTheMomentInWhichTheyRun) {
  const auto due = EventLoop::now();
  Registration ofTask = loop_.at(due, note('t'));
  Registration ofHandler = loop_.at(due, note('h'));
  Registration first;
  Registration second;
  first = loop_.at(due, [&, text = std::string(100, '1')] {
    first = {};
    second = {};
    order_ += text.back();
  });
  second = loop_.at(due, note('2'));
  Registration moved = loop_.at(due, note('3'));
  const Registration third = std::move(moved);
  { const Registration gone = loop_.at(due, note('g')); }
  loop_.post([&] { ofTask = {}; });
  const Ends pipes[] = {Ends::ofPipe(), Ends::ofPipe()};
  Registration watches[2];
  for (int i = 0; i < 2; ++i) {
    testing::put(pipes[i].writer, "x");
    watches[i] = loop_.onReadable(pipes[i].reader.number(), [&, text = std::string(100, 'w')] {
      ofHandler = {};
      watches[0] = {};
      watches[1] = {};
      order_ += text.back();
    });
  }
  turnThrough(loop_);
  EXPECT_TRUE(order_ == "w13" || order_ == "13w") << order_;
}

TEST_F(EventLoopTest, AWatchCallsAsLongAsTheDescriptorIsReady) {
  Ends pipe = Ends::ofPipe();
  const Registration readable = loop_.onReadable(pipe.reader.number(), [&] {
    order_ += testing::taken(pipe.reader, 1);
    if (!pipe.writer) order_ += '.';
  });
  Registration writable = loop_.onWritable(pipe.writer.number(), [&] {
    testing::put(pipe.writer, "abc");
    writable = {};
  });
  ASSERT_TRUE(turnUntil(loop_, [&] { return order_.size() >= 3; }));
  turnThrough(loop_);
  EXPECT_EQ(order_, "abc") << "nothing more to read, and the other end is not watched any more";
  pipe.writer = {};
  EXPECT_TRUE(turnUntil(loop_, [&] { return order_.ends_with(".."); })) << "the end of input";
}

TEST_F(EventLoopTest, TasksThatKeepPostingTasksStarveNothing) {
  Ends pipe = Ends::ofPipe();
  testing::put(pipe.writer, "x");
  const std::function<void()> again = [&] { loop_.post(again); };
  again();
  loop_.turnUntil(EventLoop::now() + 1ms);  // or this does not return
  const Registration timer = loop_.at(EventLoop::now() + 1ms, note('t'));
  Registration watch = loop_.onReadable(pipe.reader.number(), [&] {
    order_ += 'r';
    watch = {};
  });
  EXPECT_TRUE(turnUntil(loop_, [&] { return order_.size() == 2; })) << order_;
}

TEST(EventLoop, ItsEndDestroysWhatHasNotRunAndWhatThatOwns) {
  const auto owned = std::make_shared<int>();
  const auto fails = [owned] { ADD_FAILURE() << "called"; };
  const Ends pipe = Ends::ofPipe();
  testing::put(pipe.writer, "x");
  auto loop = std::make_unique<EventLoop>();
  for (int i = 0; i < 2; ++i) {
    auto watch = loop->onReadable(pipe.reader.number(), fails);
    auto later = loop->at(EventLoop::now() + 1h, [watch = std::move(watch), fails] { fails(); });
    auto due = loop->at(EventLoop::now(), [later = std::move(later), fails] { fails(); });
    auto task = [due = std::move(due), fails] { fails(); };
    if (i == 0) {
      loop->post(std::move(task));
    } else {
      std::thread([&] { loop->post(std::move(task)); }).join();
    }
  }
  loop.reset();
  EXPECT_EQ(owned.use_count(), 2) << "this test and its own copy";
}

}  // namespace
}  // namespace corvane::Platform
