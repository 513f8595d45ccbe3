#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <semaphore>
#include <thread>
#include <vector>

#include "Platform/ApplicationLauncher.h"
#include "Platform/FileAttributes.h"
#include "Platform/FileEvents.h"
#include "Platform/GroupContainers.h"
#include "Platform/GroupSettings.h"
#include "Platform/MainQueue.h"
#include "Platform/NotificationCenter.h"
#include "Platform/NotificationMailbox.h"
#include "Platform/ProcessInfo.h"
#include "Platform/ReadingTurn.h"
#include "Platform/RunningApplications.h"
#include "Platform/Semaphore.h"
#include "Platform/SystemLog.h"
#include "tests/Support/TemporaryFolder.h"

/// What the headers promise on every system; how a system keeps it is tested in a folder of its
/// own. Files and locks have their contract tests beside VCLFileLocker and ExchangeBuffer, standard
/// streams and hard stops in the black-box tests.
namespace corvane::Platform {
namespace {

const std::string nobody = "com.corvane.tests.nobody." + std::to_string(::getpid());
constexpr std::chrono::seconds patience(20);

class ContractTest : public ::testing::Test {
 protected:
  static bool comes(std::counting_semaphore<>& call) { return call.try_acquire_for(patience); }

  testing::TemporaryFolder folder_;
  NotificationCenter center_{folder_.path()};
  NotificationCenter other_{folder_.path()};
};

TEST_F(ContractTest, NotificationsReachWhoObservesThemUntilItStops) {
  const std::string name = nobody + ".name";
  std::atomic<int> replaced = 0;
  std::counting_semaphore<> calls(0);
  std::counting_semaphore<> last(0);
  ASSERT_TRUE(center_.observe(name, [&] { ++replaced; }));
  ASSERT_TRUE(center_.observe(name, [&] { calls.release(); }));
  other_.post(name);
  EXPECT_TRUE(comes(calls)) << "from another center";
  center_.post(name);
  EXPECT_TRUE(comes(calls)) << "from itself";
  EXPECT_EQ(replaced, 0);
  center_.stopObserving(name);
  while (calls.try_acquire()) continue;  // a system may call more often than it must
  other_.post(name);
  ASSERT_TRUE(center_.observe(name + ".last", [&] { last.release(); }));
  other_.post(name + ".last");
  EXPECT_TRUE(comes(last));
  EXPECT_FALSE(calls.try_acquire());
  center_.withdraw();
  EXPECT_FALSE(center_.observe(name, [] {}));
  EXPECT_FALSE(other_.observe("a/b", [] {}));
}

TEST_F(ContractTest, AnApplicationThatNobodyKnowsNeitherRunsNorStarts) {
  RunningApplications applications(folder_.path(), center_);
  EXPECT_EQ(applications.instancesOf(nobody), 0);
  EXPECT_FALSE(applications.isRunning(nobody));
  EXPECT_FALSE(applications.applicationOf(::getpid())) << "a program for the command line";
  EXPECT_EQ(applications.observe(nobody, [](int) {}), 0);
  EXPECT_FALSE(applications.observe("", [](int) {}));
  EXPECT_FALSE(ApplicationLauncher::launch(nobody));
  EXPECT_FALSE(ApplicationLauncher::launch(""));
}

TEST_F(ContractTest, AGroupThatNobodyHasIsNotMade) {
  EXPECT_FALSE(GroupContainers::folderOf(nobody));
  EXPECT_FALSE(GroupContainers::folderOf(nobody));
  EXPECT_FALSE(GroupContainers::folderOf(""));
  EXPECT_EQ(GroupSettings::open(folder_.path(), nobody)->integer("key"), 0);
}

TEST_F(ContractTest, ProcessesAndFilesAreKnownByTheirNames) {
  const auto path = ProcessInfo::executablePath(::getpid());
  ASSERT_TRUE(path);
  EXPECT_EQ(ProcessInfo::applicationName(), std::filesystem::path(*path).filename());
  EXPECT_EQ(ProcessInfo::parent(), ::getppid());
  testing::writeFile(folder_.path() / "file", "");
  EXPECT_FALSE(FileAttributes::mark(folder_.path() / "missing", "corvane.test"));
  const bool isKept = FileAttributes::mark(folder_.path() / "file", "corvane.test");
  EXPECT_EQ(FileAttributes::isMarked(folder_.path() / "file", "corvane.test"), isKept);
  EXPECT_FALSE(FileAttributes::isMarked(folder_.path() / "file", "corvane.other"));
}

TEST_F(ContractTest, TheMainQueueRunsTasksAtOnceAndEndsItsTurnAfterWhatWasQueued) {
  bool isOurs = false;  // what another test of this process left in the queue goes first
  MainQueue::async([&] {
    isOurs = true;
    MainQueue::endTurn();
  });
  while (!isOurs) MainQueue::turnUntil(std::chrono::steady_clock::now() + patience);
  std::vector<int> order;
  std::thread other([&] {
    MainQueue::async([&] { order.push_back(1); });
    MainQueue::endTurn();
    MainQueue::async([&] { order.push_back(2); });
  });
  MainQueue::turnUntil(std::chrono::steady_clock::now() + patience);
  EXPECT_EQ(order, std::vector<int>{1});
  other.join();
  MainQueue::endTurn();
  MainQueue::turnUntil(std::chrono::steady_clock::now() + patience);
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  MainQueue::turnUntil(std::chrono::steady_clock::now());  // a moment that has come ends it
}

TEST_F(ContractTest, AWatchGoesWithTheFileUntilItEnds) {
  const std::filesystem::path path = folder_.path() / "file";
  std::counting_semaphore<> writes(0);
  std::counting_semaphore<> deletions(0);
  FileWatch watch(
      [&](FileEvent event) { (event == FileEvent::written ? writes : deletions).release(); });
  EXPECT_FALSE(watch.start(path));
  EXPECT_EQ(watch.descriptor(), -1);
  testing::writeFile(path, "");
  ASSERT_TRUE(watch.start(path));
  EXPECT_GE(watch.descriptor(), 0);
  std::filesystem::rename(path, path.string() + ".renamed");
  testing::writeFile(path, "another file");
  testing::writeFile(path.string() + ".renamed", "text");
  EXPECT_TRUE(comes(writes));
  std::filesystem::remove(path.string() + ".renamed");
  EXPECT_TRUE(comes(deletions));
  watch.end();
  EXPECT_EQ(watch.descriptor(), -1);
  EXPECT_FALSE(deletions.try_acquire()) << "told once";
}

TEST_F(ContractTest, AMailboxHearsEveryNameThatItExpects) {
  NotificationMailbox mailbox(center_);
  const auto soon = std::chrono::steady_clock::now() + patience;
  EXPECT_FALSE(mailbox.expect("a/b"));
  for (const std::string& name : {nobody + ".first", nobody + ".second"}) {
    ASSERT_TRUE(mailbox.expect(name));
    EXPECT_FALSE(mailbox.waitUntil(std::chrono::steady_clock::now()));
    other_.post(nobody + ".first");
    EXPECT_TRUE(mailbox.waitUntil(soon));
  }
  std::thread poster([&] { other_.post(nobody + ".second"); });
  EXPECT_TRUE(mailbox.waitUntil(soon));
  poster.join();
  std::thread interrupter([&] { mailbox.interrupt(); });
  EXPECT_FALSE(mailbox.waitUntil(std::chrono::steady_clock::time_point::max()));
  interrupter.join();
  center_.withdraw();
  EXPECT_FALSE(mailbox.expect(nobody + ".third"));
}

TEST_F(ContractTest, ASemaphoreCountsItsPosts) {
  Semaphore semaphore;
  EXPECT_FALSE(semaphore.waitUntil(std::chrono::steady_clock::now()));
  std::thread poster([&] {
    semaphore.post();
    semaphore.post();
  });
  semaphore.wait();
  EXPECT_TRUE(semaphore.waitUntil(std::chrono::steady_clock::now() + patience));
  EXPECT_FALSE(semaphore.waitUntil(std::chrono::steady_clock::now()));
  poster.join();
}

TEST_F(ContractTest, AReadingTurnIsTakenWhenThereIsSomethingToRead) {
  int ends[2] = {};
  ASSERT_EQ(::pipe(ends), 0);
  ReadingTurn turn(ends[0]);
  std::counting_semaphore<> taken(0);
  const auto another = [&] {
    turn.await();
    taken.release();
  };
  std::thread first(another);
  turn.offer(false);
  EXPECT_TRUE(turn.takeBack()) << "nothing to read";
  EXPECT_FALSE(turn.takeBack());
  turn.offer(true);
  EXPECT_TRUE(comes(taken)) << "something that has been read";
  first.join();
  EXPECT_EQ(::write(ends[1], "x", 1), 1);
  std::thread second(another);
  turn.offer(false);
  EXPECT_TRUE(comes(taken)) << "something to read";
  second.join();
  EXPECT_FALSE(turn.takeBack());
  ::close(ends[1]);
  turn.offer(false);
  turn.await();  // the end
  ::close(ends[0]);
  testing::writeFile(folder_.path() / "plain", "");
  const int plain = ::open((folder_.path() / "plain").c_str(), O_RDONLY);
  ReadingTurn ofFile(plain);
  ofFile.offer(false);
  ofFile.await();  // what can't be watched
  ::close(plain);
}

TEST_F(ContractTest, TheSystemLogLeavesTheStandardStreamsAlone) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  using enum SystemLog::Severity;
  for (const auto severity : {error, warning, info, debug}) SystemLog::write(severity, "%s\n");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

/// Tasks that may run on the thread that has them race with others and with ends of the loop's
/// turns: none is lost, none run at the same time, and one that is refused comes first.
TEST_F(ContractTest, TheMainQueueLendsItsTurnWhileItSleeps) {
  constexpr int eachDoes = 2000;
  int total = 0;  // two at once would lose counts
  std::atomic<int> left = 3 * eachDoes;
  const auto count = [&] {
    ++total;
    if (--left == 0) MainQueue::endTurn();
  };
  std::vector<std::thread> threads(3);
  for (std::thread& thread : threads) {
    thread = std::thread([&] {
      for (int i = 0; i < eachDoes; ++i) {
        if (i % 5 == 0) {
          MainQueue::asyncWithoutWaking(count);
          MainQueue::wake();
        } else {
          MainQueue::async(count, [i] { return i % 3 != 0; });
        }
      }
    });
  }
  while (left > 0)
    MainQueue::turnUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(1));
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(total, 3 * eachDoes);
  MainQueue::turnUntil(std::chrono::steady_clock::now());
}

}  // namespace
}  // namespace corvane::Platform
