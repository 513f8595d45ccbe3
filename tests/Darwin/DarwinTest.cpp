#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <future>
#include <memory>
#include <thread>

#include "Platform/EventLoop.h"
#include "Platform/FileEvents.h"
#include "Platform/NotificationCenter.h"
#include "Platform/OwnedDescriptor.h"
#include "Platform/SystemLog.h"
#include "tests/Darwin/Control.h"
#include "tests/Support/Ends.h"
#include "tests/Support/TemporaryFolder.h"
#include "tests/Support/Turning.h"

/// What only the macOS half does, or does with more than the headers promise: what it takes from
/// the system and gives back, and what it makes of the failures that the manual pages name.
namespace corvane::Platform {
namespace {

using testing::turnUntil;

const std::string name = "com.corvane.tests." + std::to_string(::getpid());

TEST(DarwinTest, ALoopGivesBackWhatItTookAndNeedsAKernelQueue) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const int objects = darwin::liveObjects();
  const int queues = darwin::openQueues();
  { const EventLoop loop; }
  EXPECT_EQ(darwin::liveObjects(), objects);
  EXPECT_EQ(darwin::openQueues(), queues);
  EXPECT_EXIT(
      {
        darwin::failNext("kqueue", EMFILE);
        const EventLoop loop;
      },
      ::testing::KilledBySignal(SIGKILL), "event loop");
}

/// In one long turn: short ones look at the queue anyway, whatever wakes the loop up.
TEST(DarwinTest, ADescriptorThatBecomesReadyEndsTheWait) {
  EventLoop loop;
  testing::Ends pipe = testing::Ends::ofPipe();
  int calls = 0;
  for (int round = 1; round <= 2; ++round) {
    const auto readable = loop.onReadable(pipe.reader.number(), [&] {
      testing::taken(pipe.reader, 1);
      ++calls;
      loop.endTurn();
    });
    std::thread writer;
    const auto start = loop.at(
        EventLoop::now(), [&] { writer = std::thread([&] { testing::put(pipe.writer, "x"); }); });
    const auto limit = loop.at(EventLoop::now() + testing::patience, [&] { ADD_FAILURE(); });
    loop.turnUntil(EventLoop::now() + 2 * testing::patience);
    EXPECT_EQ(calls, round);
    writer.join();
  }
}

TEST(DarwinTest, ALoopWithNothingToDoSleeps) {
  EventLoop loop;
  testing::Ends pipe = testing::Ends::ofPipe();
  testing::put(pipe.writer, "x");
  {
    const auto over = loop.onReadable(pipe.reader.number(), [] {});
  }
  std::thread([&] { loop.post([] {}); }).join();
  const int before = darwin::queueCalls();
  loop.turnUntil(EventLoop::now() + std::chrono::milliseconds(50));
  EXPECT_LE(darwin::queueCalls() - before, 10);
}

TEST(DarwinTest, ANameThatIsRefusedIsObservedLaterAndNobodyElsesDescriptorIsTouched) {
  EventLoop loop;
  NotificationCenter center(loop, "");
  const int before = darwin::registrations();
  int calls = 0;
  darwin::failNext("notify_register_file_descriptor", 1000000);
  EXPECT_FALSE(center.observe(name, [&] { ++calls; }));
  testing::Ends other = testing::Ends::ofPipe();  // with the freed number
  testing::put(other.writer, "x");
  center.deliverPending();
  EXPECT_TRUE(turnUntil(loop, [&] { return calls > 0; })) << "posts may have been missed";
  center.post(name);
  EXPECT_TRUE(turnUntil(loop, [&] { return calls > 1; }));
  EXPECT_TRUE(center.observe(name + ".second", [&] { ++calls; }));
  EXPECT_EQ(darwin::registrations(), before + 2);
  center.withdraw();
  EXPECT_EQ(darwin::registrations(), before);
  EXPECT_EQ(testing::taken(other.reader, 1), "x");
}

TEST(DarwinTest, WhatIsOnItsWayToAnEarlierObservationIsDropped) {
  EventLoop loop;
  NotificationCenter center(loop, "");
  int ends = 0;
  const auto fails = [] { ADD_FAILURE() << "called"; };
  EXPECT_TRUE(center.observe(name + ".end", [&] { ++ends; }));
  EXPECT_TRUE(center.observe(name, fails));
  darwin::delayNotifications(true);
  center.post(name);
  center.stopObserving(name);
  EXPECT_TRUE(center.observe(name, fails));
  center.post(name + ".end");
  darwin::delayNotifications(false);
  EXPECT_EQ(darwin::registrations(), 2);
  EXPECT_TRUE(turnUntil(loop, [&] { return ends > 0; }));
}

TEST(DarwinTest, AFileThatIsRevokedIsNoEventAndTheOthersAreStillTold) {
  const testing::TemporaryFolder folder;
  std::promise<void> told;
  FileWatch revoked([](FileEvent) { ADD_FAILURE() << "called"; });
  FileWatch other([&](FileEvent) { told.set_value(); });
  testing::writeFile(folder.path() / "file", "");
  ASSERT_TRUE(revoked.start(folder.path() / "file"));
  ASSERT_TRUE(other.start(folder.path()));
  darwin::revoke(revoked.descriptor());
  testing::writeFile(folder.path() / "entry", "");
  EXPECT_EQ(told.get_future().wait_for(testing::patience), std::future_status::ready);
}

TEST(DarwinTest, AWatchDoesNotKeepAFileOpenForReading) {
  const testing::TemporaryFolder folder;
  testing::writeFile(folder.path() / "file", "");
  FileWatch watch([](FileEvent) {});
  ASSERT_TRUE(watch.start(folder.path() / "file"));
  const OwnedDescriptor file(::open((folder.path() / "file").c_str(), O_RDWR | O_CLOEXEC));
  EXPECT_EQ(::fcntl(file.number(), F_SETLEASE, F_WRLCK), 0)
      << "a write lease needs a file that no descriptor has open for reading";
}

TEST(DarwinTest, TheSystemLogShowsTheText) {
  SystemLog::write(SystemLog::Severity::error, std::string_view("shown, not more").substr(0, 5));
  EXPECT_EQ(darwin::logged().back(), "shown");
}

}  // namespace
}  // namespace corvane::Platform
