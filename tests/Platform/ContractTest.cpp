#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "Platform/ApplicationLauncher.h"
#include "Platform/FileAttributes.h"
#include "Platform/GroupContainers.h"
#include "Platform/GroupSettings.h"
#include "Platform/NotificationCenter.h"
#include "Platform/ProcessInfo.h"
#include "Platform/Random.h"
#include "Platform/RunningApplications.h"
#include "Platform/SystemCalls.h"
#include "tests/Support/TemporaryFolder.h"
#include "tests/Support/Turning.h"

/// What the headers promise on every system; how a system keeps it is tested in a folder of its
/// own. The event loop and non-blocking output have files of their own; files and locks have their
/// contract tests beside VCLFileLocker and ExchangeBuffer, watches of files beside
/// DirectoryMonitor, standard streams, the system log and hard stops in the black-box tests.
namespace corvane::Platform {
namespace {

const std::string nobody = "com.corvane.tests.nobody." + std::to_string(::getpid());

class ContractTest : public ::testing::Test {
 protected:
  bool turnUntil(int& calls, int count) {
    return testing::turnUntil(loop_, [&] { return calls >= count; });
  }

  testing::TemporaryFolder folder_;
  EventLoop loop_;
  NotificationCenter center_{loop_, folder_.path()};
  NotificationCenter other_{loop_, folder_.path()};
};

TEST_F(ContractTest, NotificationsReachWhoObservesThemUntilItStops) {
  const std::string name = nobody + ".name";
  int replaced = 0;
  int calls = 0;
  int last = 0;
  ASSERT_TRUE(center_.observe(name, [&] { ++replaced; }));
  ASSERT_TRUE(center_.observe(name, [&] { ++calls; }));
  other_.post(name);
  EXPECT_TRUE(turnUntil(calls, 1)) << "from another center";
  calls = 0;  // a system may call more often than it must, but not later than for what follows
  center_.post(name);
  EXPECT_EQ(calls, 0) << "only on the loop";
  EXPECT_TRUE(turnUntil(calls, 1)) << "from itself";
  other_.post(name);
  center_.stopObserving(name);
  calls = 0;
  ASSERT_TRUE(center_.observe(nobody + ".last", [&] { ++last; }));
  other_.post(nobody + ".last");
  EXPECT_TRUE(turnUntil(last, 1));
  EXPECT_EQ(calls + replaced, 0);
  center_.withdraw();
  EXPECT_FALSE(center_.observe(name, [] {}));
  for (const std::string& invalid : {std::string("a/b"), std::string(), std::string(".a")})
    EXPECT_FALSE(other_.observe(invalid, [] {})) << invalid;
}

/// As a process does that waits for one reply after the other.
TEST_F(ContractTest, ObservedAnewANameDropsWhatIsPendingForItAndNothingElse) {
  int replies = 0;
  int others = 0;
  ASSERT_TRUE(center_.observe(nobody + ".other", [&] { ++others; }));
  ASSERT_TRUE(center_.observe(nobody + ".reply", [&, owned = std::string(100, 'x')] {
    center_.stopObserving(nobody + ".reply");  // itself
    replies += owned.back() == 'x' ? 1 : 0;
  }));
  for (int round = 1; round <= 3; ++round) {
    other_.post(nobody + ".reply");
    EXPECT_TRUE(turnUntil(replies, round));
    for (const char* name : {".reply", ".other"}) other_.post(nobody + name);
    ASSERT_TRUE(center_.observe(nobody + ".reply", [&] {
      ++replies;
      center_.stopObserving(nobody + ".reply");
    }));
    EXPECT_TRUE(turnUntil(others, round));
    EXPECT_EQ(replies, round);
  }
}

TEST_F(ContractTest, AnApplicationThatNobodyKnowsNeitherRunsNorStarts) {
  RunningApplications applications(loop_, folder_.path(), center_);
  EXPECT_EQ(applications.instancesOf(nobody).value(), 0);
  EXPECT_FALSE(applications.isRunning(nobody).value());
  EXPECT_FALSE(applications.applicationOf(-1).value());
  EXPECT_EQ(applications.observe(nobody, [](int) {}).value(), 0);
  EXPECT_FALSE(applications.observe("", [](int) {}));
  int answers = 0;
  for (const std::string& identifier : {nobody, std::string()}) {
    ApplicationLauncher::launch(loop_, identifier, [&](bool isStarted) {
      EXPECT_FALSE(isStarted);
      ++answers;
    });
  }
  EXPECT_EQ(answers, 0) << "only on the loop";
  EXPECT_TRUE(turnUntil(answers, 2));
}

TEST_F(ContractTest, AGroupThatNobodyHasIsEmpty) {
  EXPECT_EQ(GroupContainers::directoryOf("").failure().cause, FailureCause::malformed);
  EXPECT_EQ(GroupSettings::open(folder_.path(), nobody)->integer("key"), 0);
}

TEST_F(ContractTest, RandomBytesAreTheSystemsOrNone) {
  struct : SystemCalls {
    int getentropy(void* /*bytes*/, std::size_t /*count*/) override { return -1; }
  } none;
  EXPECT_NE(randomBytes<16>(), randomBytes<16>());
  const SystemCalls::Replacement replacement(none);
  EXPECT_THROW(randomBytes<16>(), std::runtime_error);
}

TEST_F(ContractTest, ProcessesAndFilesAreKnownByTheirNames) {
  const auto path = ProcessInfo::executablePath(::getpid());
  ASSERT_TRUE(path);
  EXPECT_EQ(ProcessInfo::applicationName(), std::filesystem::path(path.value()).filename());
  EXPECT_EQ(ProcessInfo::executablePath(-1).failure().cause, FailureCause::notFound);
  EXPECT_EQ(ProcessInfo::parent(), ::getppid());
  testing::writeFile(folder_.path() / "file", "");
  EXPECT_FALSE(FileAttributes::mark(folder_.path() / "missing", "corvane.test"));
  const bool isKept(FileAttributes::mark(folder_.path() / "file", "corvane.test"));
  EXPECT_EQ(FileAttributes::isMarked(folder_.path() / "file", "corvane.test").value(), isKept);
  EXPECT_FALSE(FileAttributes::isMarked(folder_.path() / "file", "corvane.other").value());
  EXPECT_FALSE(FileAttributes::isMarked(folder_.path() / "missing", "corvane.test"));
}

}  // namespace
}  // namespace corvane::Platform
