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

/// A monitor of `path` that has been started, with its delegate.
struct Started {
  Started(const fs::path& path, std::function<void(DirectoryMonitor&)> reaction)
      : delegate(std::make_shared<Delegate>(std::move(reaction))), monitor(path) {
    monitor.setDelegate(delegate);
    EXPECT_TRUE(monitor.startMonitoring());
  }
  std::atomic<int> calls = 0;
  std::shared_ptr<Delegate> delegate;
  DirectoryMonitor monitor;
};

/// Makes a change elsewhere and waits until it is told: all calls for earlier ones are over then,
/// as they come one at a time and in order.
void awaitAllBefore() {
  const testing::TemporaryFolder elsewhere;
  std::promise<void> told;
  const Started last(elsewhere.path(), [&](DirectoryMonitor& monitor) {
    monitor.stopMonitoring();
    told.set_value();
  });
  writeFile(elsewhere.path() / "entry", "");
  told.get_future().wait();
}

/// One that counts the calls.
struct Counted : Started {
  explicit Counted(const fs::path& path) : Started(path, [this](DirectoryMonitor&) { ++calls; }) {}
  [[nodiscard]] int callsAfter(const std::function<void()>& change) {
    calls = 0;
    change();
    awaitAllBefore();
    return calls;
  }
};

class DirectoryMonitorTest : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder_;
  const fs::path watched_ = folder_.path() / "watched";
};

TEST_F(DirectoryMonitorTest, TellsOfEntriesThatComeAndGoInAFolderAndOfItsEnd) {
  const fs::path other = folder_.path() / "other";
  writeFile(watched_ / "old", "");
  fs::create_directory(other);
  fs::create_directory_symlink(watched_, folder_.path() / "link");
  Counted folder(folder_.path() / "link");
  EXPECT_EQ(folder.callsAfter([&] { writeFile(watched_ / "old", "content of an entry"); }), 0);
  EXPECT_EQ(folder.callsAfter([&] { fs::create_directory(watched_ / "new"); }), 1);
  Counted entry(watched_ / "new");
  EXPECT_EQ(folder.callsAfter([&] { fs::remove(watched_ / "new"); }), 1);
  EXPECT_EQ(entry.calls, 1) << "deleted";
  EXPECT_EQ(folder.callsAfter([&] { fs::rename(watched_, other / "moved"); }), 0);
  const int calls = folder.callsAfter([&] { fs::remove_all(other / "moved"); });
  EXPECT_TRUE(calls == 1 || calls == 2) << calls << " for entry and folder, perhaps merged";
  fs::create_directory(watched_);
  Counted replaced(other);
  EXPECT_EQ(replaced.callsAfter([&] { fs::rename(watched_, other); }), 1) << "deleted";
}

TEST_F(DirectoryMonitorTest, TellsOfWritingToAFileAndOfTheEndOfItsNames) {
  const fs::path second = folder_.path() / "second name";
  for (const bool isReplaced : {true, false}) {
    writeFile(watched_, "");
    Counted file(watched_);
    EXPECT_EQ(file.callsAfter([&] {
      fs::permissions(watched_, fs::perms::owner_all);
      fs::create_hard_link(watched_, second);
    }),
              0);
    EXPECT_EQ(file.callsAfter([&] { fs::remove(second); }), TEST_LAYER_OF_MACOS)
        << "macOS tells of each name";
    EXPECT_EQ(file.callsAfter([&] { std::ofstream(watched_, std::ios::app) << "content"; }), 1);
    writeFile(second, "");
    EXPECT_EQ(file.callsAfter([&] {
      isReplaced ? fs::rename(second, watched_) : static_cast<void>(fs::remove(watched_));
      const int descriptor = file.monitor.monitoredDirectoryFileDescriptor();
      if (fs::exists("/proc/self/fd"))
        fs::permissions("/proc/self/fd/" + std::to_string(descriptor), fs::perms::owner_read);
    }),
              1)
        << "once";
  }
}

TEST_F(DirectoryMonitorTest, WatchesWhileItIsStartedWhatThePathNamedThen) {
  Counted other(folder_.path());  // shares what the system has for one folder
  Counted counted(folder_.path());
  DirectoryMonitor& monitor = counted.monitor;
  const int descriptor = monitor.monitoredDirectoryFileDescriptor();
  monitor.stopMonitoring();
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1) << "closed";
  EXPECT_EQ(counted.callsAfter([&] { fs::create_directory(watched_); }), 0);
  EXPECT_EQ(other.calls, 1) << "who still watches";

  EXPECT_TRUE(monitor.startMonitoring());
  monitor.setPath(watched_);
  EXPECT_EQ(counted.callsAfter([&] { writeFile(folder_.path() / "entry", ""); }), 1) << "until:";
  EXPECT_TRUE(monitor.startMonitoring());
  EXPECT_EQ(counted.callsAfter([&] { writeFile(folder_.path() / "another", ""); }), 0);
  EXPECT_EQ(counted.callsAfter([&] { writeFile(watched_ / "entry", ""); }), 1);
  monitor.setPath(folder_.path() / "missing");
  EXPECT_FALSE(monitor.startMonitoring());
  EXPECT_EQ(monitor.monitoredDirectoryFileDescriptor(), -1);
}

/// What a call touches is read and destroyed without a lock: a call that still runs is a race or a
/// use of dead memory, also where the watch that made it was ended by the call itself.
TEST_F(DirectoryMonitorTest, HasNoCallRunningOnceItHasStopped) {
  for (int round = 0; round < 200; ++round) {
    int steps = 0;
    std::promise<void> called;
    auto started = std::make_unique<Started>(folder_.path(), [&](DirectoryMonitor& monitor) {
      if (steps++ > 0) return;
      called.set_value();
      monitor.stopMonitoring();
      if (round % 2 == 0) monitor.startMonitoring();
      ++steps;
    });
    fs::create_directory(watched_);
    called.get_future().wait();
    fs::remove(watched_);
    round % 3 == 0 ? started->monitor.stopMonitoring() : started.reset();
    ASSERT_GE(steps, 2);
  }
}

}  // namespace
}  // namespace corvane
