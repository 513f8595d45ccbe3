#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <semaphore>

#include "Platform/ApplicationLauncher.h"
#include "Platform/FileAttributes.h"
#include "Platform/GroupContainers.h"
#include "Platform/GroupSettings.h"
#include "Platform/NotificationCenter.h"
#include "Platform/ProcessInfo.h"
#include "Platform/RunningApplications.h"
#include "tests/Support/TemporaryFolder.h"

/// What the headers promise on every system; how a system keeps it is tested in a folder of its
/// own. The main queue has its contract test beside DispatchQueue, file events beside
/// DirectoryMonitor, locks and files beside VCLFileLocker and ExchangeBuffer.
namespace corvane::Platform {
namespace {

const std::string nobody = "com.corvane.tests.nobody." + std::to_string(::getpid());

class ContractTest : public ::testing::Test {
 protected:
  static bool comes(std::counting_semaphore<>& call) {
    return call.try_acquire_for(std::chrono::seconds(20));
  }

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

}  // namespace
}  // namespace corvane::Platform
