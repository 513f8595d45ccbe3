#include "VCommons/VCommonsKit/DirectoryMonitor.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <utility>

#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using testing::writeFile;

/// Does what the test says, as a delegate.
struct Delegate : DirectoryMonitorDelegate {
  explicit Delegate(std::function<void(DirectoryMonitor&)> reaction)
      : reaction(std::move(reaction)) {}
  void directoryMonitorDidObserveChange(DirectoryMonitor& monitor) override { reaction(monitor); }
  const std::function<void(DirectoryMonitor&)> reaction;
};

class DirectoryMonitorTest : public ::testing::Test {
 protected:
  /// A monitor of `path` that has been started and what it counts.
  struct Counted {
    explicit Counted(const fs::path& path) : monitor(path) {
      monitor.setDelegate(delegate);
      EXPECT_TRUE(monitor.startMonitoring());
    }
    std::atomic<int> calls = 0;
    std::shared_ptr<Delegate> delegate =
        std::make_shared<Delegate>([this](DirectoryMonitor&) { ++calls; });
    DirectoryMonitor monitor;
  };

  /// Makes a change elsewhere and waits until it is told: all calls for earlier ones are over then,
  /// as they come one at a time and in order.
  static void awaitAllBefore() {
    const testing::TemporaryFolder elsewhere;
    std::promise<void> told;
    const auto delegate = std::make_shared<Delegate>([&](DirectoryMonitor& monitor) {
      monitor.stopMonitoring();
      told.set_value();
    });
    DirectoryMonitor monitor(elsewhere.path());
    monitor.setDelegate(delegate);
    ASSERT_TRUE(monitor.startMonitoring());
    writeFile(elsewhere.path() / "entry", "");
    told.get_future().wait();
  }

  testing::TemporaryFolder folder_;
  const fs::path watched_ = folder_.path() / "watched";
};

TEST_F(DirectoryMonitorTest, TellsOfEntriesThatComeAndGoInAFolderAndOfItsEnd) {
  writeFile(watched_ / "old", "");
  fs::create_directory_symlink(watched_, folder_.path() / "link");
  fs::create_directory(folder_.path() / "other");
  Counted counted(folder_.path() / "link");
  const auto callsAfter = [&](const auto& change) {
    counted.calls = 0;
    change();
    awaitAllBefore();
    return counted.calls.load();
  };
  EXPECT_EQ(callsAfter([&] { writeFile(watched_ / "old", "content of an entry"); }), 0);
  EXPECT_EQ(callsAfter([&] { fs::create_directory(watched_ / "new"); }), 1);
  Counted entry(watched_ / "new");
  EXPECT_EQ(callsAfter([&] { fs::remove(watched_ / "new"); }), 1);
  EXPECT_EQ(entry.calls, 1) << "deleted";
  EXPECT_EQ(callsAfter([&] { fs::remove(folder_.path() / "link"); }), 0);
  EXPECT_EQ(callsAfter([&] { fs::rename(watched_, folder_.path() / "other" / "moved"); }), 0);
  EXPECT_EQ(callsAfter([&] { fs::rename(folder_.path() / "other" / "moved" / "old", watched_); }),
            1);
  EXPECT_EQ(callsAfter([&] { fs::remove(folder_.path() / "other" / "moved"); }), 1) << "deleted";
  Counted replaced(folder_.path() / "other");
  fs::create_directory(folder_.path() / "replacement");
  EXPECT_EQ(
      callsAfter([&] { fs::rename(folder_.path() / "replacement", folder_.path() / "other"); }), 0);
  EXPECT_EQ(replaced.calls, 1) << "deleted";
  EXPECT_GE(counted.monitor.monitoredDirectoryFileDescriptor(), 0) << "until it is stopped";
}

TEST_F(DirectoryMonitorTest, TellsOfWritingToAFileAndOfTheEndOfItsLastName) {
  for (const bool isReplaced : {false, true}) {
    writeFile(watched_, "");
    Counted counted(watched_);
    fs::permissions(watched_, fs::perms::owner_all);
    fs::create_hard_link(watched_, folder_.path() / "second name");
    fs::remove(folder_.path() / "second name");
    awaitAllBefore();
    EXPECT_EQ(counted.calls, 0);
    std::ofstream(watched_, std::ios::app) << "content";
    awaitAllBefore();
    EXPECT_EQ(counted.calls, 1);
    writeFile(folder_.path() / "replacement", "");
    isReplaced ? fs::rename(folder_.path() / "replacement", watched_)
               : static_cast<void>(fs::remove(watched_));
    const int descriptor = counted.monitor.monitoredDirectoryFileDescriptor();
    fs::permissions("/proc/self/fd/" + std::to_string(descriptor), fs::perms::owner_read);
    awaitAllBefore();
    EXPECT_EQ(counted.calls, 2) << "once";
  }
}

TEST_F(DirectoryMonitorTest, WatchesWhileItIsStartedWhatThePathNamedThen) {
  Counted other(folder_.path());  // shares what the system has for one folder
  DirectoryMonitor monitor(watched_);
  monitor.stopMonitoring();
  EXPECT_FALSE(monitor.startMonitoring()) << "missing";
  EXPECT_EQ(monitor.monitoredDirectoryFileDescriptor(), -1);
  EXPECT_EQ(other.calls, 0);

  Counted counted(folder_.path());
  const int descriptor = counted.monitor.monitoredDirectoryFileDescriptor();
  EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
  counted.monitor.stopMonitoring();
  EXPECT_EQ(counted.monitor.monitoredDirectoryFileDescriptor(), -1);
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1) << "closed";
  fs::create_directory(watched_);
  awaitAllBefore();
  EXPECT_EQ(counted.calls, 0);
  EXPECT_EQ(other.calls, 1) << "who still watches";

  EXPECT_TRUE(counted.monitor.startMonitoring());
  counted.monitor.setPath(watched_);
  writeFile(folder_.path() / "entry", "");
  awaitAllBefore();
  EXPECT_EQ(counted.calls, 1) << "the old path until the next start";
  EXPECT_TRUE(counted.monitor.startMonitoring());
  writeFile(folder_.path() / "another", "");
  writeFile(watched_ / "entry", "");
  awaitAllBefore();
  EXPECT_EQ(counted.calls, 2) << "the new one only";
  counted.monitor.setPath("");
  EXPECT_FALSE(counted.monitor.startMonitoring());
  EXPECT_EQ(counted.monitor.monitoredDirectoryFileDescriptor(), -1);
}

TEST_F(DirectoryMonitorTest, LetsTheDelegateGoAndEndMonitors) {
  {
    Counted orphan(folder_.path());
    orphan.delegate.reset();
    writeFile(folder_.path() / "entry", "");
    awaitAllBefore();
    EXPECT_EQ(orphan.calls, 0);
  }
  auto monitor = std::make_unique<DirectoryMonitor>(folder_.path());
  Counted next(folder_.path());
  int calls = 0;
  auto delegate = std::make_shared<Delegate>([&](DirectoryMonitor& changed) {
    EXPECT_EQ(&changed, monitor.get());
    ++calls;
    monitor.reset();
    next.monitor.stopMonitoring();
  });
  monitor->setDelegate(delegate);
  ASSERT_TRUE(monitor->startMonitoring());
  ASSERT_TRUE(next.monitor.startMonitoring());
  writeFile(folder_.path() / "entry", "");
  writeFile(folder_.path() / "another", "");
  fs::remove(folder_.path() / "entry");
  awaitAllBefore();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(next.calls, 0) << "stopped when its turn came";
}

/// While one call holds everything up, the system's queue fills: then even a deletion that it
/// dropped is told.
TEST_F(DirectoryMonitorTest, TellsOfWhatTheSystemLost) {
  const fs::path quiet = folder_.path() / "quiet";
  const fs::path doomed = folder_.path() / "doomed";
  for (const fs::path& folder : {watched_, quiet, doomed}) fs::create_directory(folder);
  Counted countedQuiet(quiet);
  Counted countedDoomed(doomed);
  std::promise<void> begun;
  std::promise<void> goOn;
  const auto delegate = std::make_shared<Delegate>([&](DirectoryMonitor& monitor) {
    monitor.setDelegate({});
    begun.set_value();
    goOn.get_future().wait();
  });
  DirectoryMonitor monitor(watched_);
  monitor.setDelegate(delegate);
  ASSERT_TRUE(monitor.startMonitoring());
  fs::path entry = watched_ / "entry";
  writeFile(entry, "");
  begun.get_future().wait();
  int left = std::stoi(testing::contentOf("/proc/sys/fs/inotify/max_queued_events"));
  for (fs::path next = watched_ / "renamed"; left >= 0; left -= 2) {
    fs::rename(entry, next);  // two events
    entry.swap(next);
  }
  fs::remove(doomed);
  EXPECT_EQ(countedDoomed.calls, 0);
  goOn.set_value();
  monitor.stopMonitoring();
  awaitAllBefore();
  EXPECT_EQ(countedQuiet.calls, 1);
  EXPECT_EQ(countedDoomed.calls, 1);
}

/// What a call touches is read and destroyed without a lock: a call that still runs is a race or a
/// use of dead memory, also where the watch that made it was ended by the call itself.
TEST_F(DirectoryMonitorTest, HasNoCallRunningOnceItHasStopped) {
  for (int round = 0; round < 200; ++round) {
    int steps = 0;
    std::promise<void> called;
    const auto delegate = std::make_shared<Delegate>([&](DirectoryMonitor& monitor) {
      if (steps++ > 0) return;
      called.set_value();
      monitor.stopMonitoring();
      if (round % 2 == 0) monitor.startMonitoring();
      ++steps;
    });
    {
      DirectoryMonitor monitor(folder_.path());
      monitor.setDelegate(delegate);
      ASSERT_TRUE(monitor.startMonitoring());
      fs::create_directory(watched_);
      called.get_future().wait();
      fs::remove(watched_);
      if (round % 3 == 0) {
        monitor.stopMonitoring();
        ASSERT_GE(steps, 2);
      }
    }
    ASSERT_GE(steps, 2);
  }
}

}  // namespace
}  // namespace corvane
