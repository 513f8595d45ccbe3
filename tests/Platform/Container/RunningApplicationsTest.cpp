#include "Platform/RunningApplications.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <deque>
#include <set>
#include <utility>
#include <vector>

#include "Platform/OwnedDescriptor.h"
#include "tests/Support/TemporaryFolder.h"
#include "tests/Support/Turning.h"

namespace corvane::Platform {
namespace {

namespace fs = std::filesystem;

class RunningApplicationsTest : public ::testing::Test {
 protected:
  RunningApplicationsTest() { fs::create_directories(registry_); }
  void TearDown() override {
    for (const pid_t process : std::set(processes_)) kill(process);
  }

  /// Makes the file `path` and holds its lock, as an application does, to the end of the test.
  void lock(const fs::path& path) {
    locks_.emplace_back(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    struct flock exclusive = {};
    exclusive.l_type = F_WRLCK;
    EXPECT_EQ(::fcntl(locks_.back().number(), F_OFD_SETLK, &exclusive), 0) << path;
  }
  /// A process that holds the lock of its own file until it is killed; this one holds it too while
  /// it is the last of `locks_`.
  pid_t startHandingOn() {
    lock(registry_ / ".new");
    const pid_t process = ::fork();
    if (process == 0) {
      for (;;) ::pause();
    }
    processes_.insert(process);
    fs::rename(registry_ / ".new", registry_ / (std::to_string(process) + digits_));
    return process;
  }
  /// Starts an application whose lock no other process holds on to.
  pid_t start() {
    const pid_t process = startHandingOn();
    locks_.pop_back();
    applicationsCenter_.post(app_ + ".LAUNCHED");
    return process;
  }
  void kill(pid_t process) {
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
    processes_.erase(process);
  }
  int observe() {
    return applications_.observe(app_, [&](int instances) { changes_.push_back(instances); })
        .value();
  }
  /// The next number that is told; -1 when none comes.
  int nextChange() {
    if (!testing::turnUntil(loop_, [&] { return !changes_.empty(); })) return -1;
    const int first = changes_.front();
    changes_.pop_front();
    return first;
  }
  /// Returns when all that happened so far has been told: what an instance says makes the observer
  /// look, and what is said later is heard later.
  void awaitLook() {
    bool isHeard = false;
    ASSERT_TRUE(center_.observe("heard", [&] { isHeard = true; }));
    for (const std::string& name : {app_ + ".LAUNCHED", std::string("heard")})
      applicationsCenter_.post(name);
    EXPECT_TRUE(testing::turnUntil(loop_, [&] { return isHeard; }));
    center_.stopObserving("heard");
  }
  [[nodiscard]] int count(const std::string& identifier) const {
    const int instances = applications_.instancesOf(identifier).value();
    EXPECT_EQ(applications_.isRunning(identifier).value(), instances > 0) << identifier;
    return instances;
  }
  const std::string digits_ = ".0123456789abcDEF";
  const std::string app_ = "com.example.app";
  const std::string own_ = std::to_string(::getpid());
  testing::TemporaryFolder folder_;
  const std::string container_ = folder_.path();
  const fs::path registry_ = folder_.path() / "Applications" / app_;
  std::deque<int> changes_;  // the numbers that were told, in order
  EventLoop loop_;
  NotificationCenter center_{loop_, container_};
  NotificationCenter applicationsCenter_{loop_, container_};
  RunningApplications applications_{loop_, container_, center_};
  std::vector<OwnedDescriptor> locks_;
  std::set<pid_t> processes_;
};

TEST_F(RunningApplicationsTest, RunsWhileItIsAliveAndItsLockIsHeld) {
  const pid_t first = start();
  const pid_t second = startHandingOn();
  EXPECT_EQ(count(app_), 2);
  kill(first);
  EXPECT_EQ(count(app_), 1) << "the other one goes on";
  EXPECT_EQ(applications_.applicationOf(second).value()->bundleIdentifier, app_);
  EXPECT_FALSE(applications_.applicationOf(::getpid()).value());
  EXPECT_EQ(count("com.example.other") + count("../Applications/com.example.app"), 0);
  kill(second);
  EXPECT_EQ(count(app_), 0) << "a file left over; and a lock that the dead process had handed on";
}

TEST_F(RunningApplicationsTest, OnlyLockedFilesOfTheAgreedNameCount) {
  for (const std::string& name :
       {"." + own_ + digits_, own_ + digits_ + "0", own_ + ".0123456789abcdeg",
        "x" + own_ + digits_, "-1" + digits_, own_}) {
    lock(registry_ / name);
  }
  lock(folder_.path() / "elsewhere");
  fs::create_symlink(folder_.path() / "elsewhere", registry_ / (own_ + ".1111111111111111"));
  ASSERT_EQ(::mkfifo((registry_ / (own_ + ".2222222222222222")).c_str(), 0600), 0);
  testing::writeFile(registry_ / (own_ + ".3333333333333333"), "not locked");
  EXPECT_EQ(count(app_), 0);
  constexpr int many = 200;  // more than the system lists at once
  for (int i = 0; i < many; ++i) {
    lock(registry_ / (own_ + "." + std::to_string(1'000'000'000'000'000 + i)));
    EXPECT_TRUE(applications_.isRunning(app_).value());
  }
  EXPECT_EQ(count(app_), many);
  fs::remove_all(registry_);
  EXPECT_EQ(count(app_), 0) << "the locks are still held";
}

TEST_F(RunningApplicationsTest, EachEndAndEachStartIsToldAndNothingElse) {
  ASSERT_EQ(observe(), 0);
  for (int i = 0; i < 50; ++i) {
    const pid_t process = start();
    if (i % 3 == 0) testing::turnThrough(loop_);  // otherwise the observer does not look in time
    kill(process);
    if (i % 5 == 0) awaitLook();
  }
  awaitLook();
  const std::deque<int> quick = std::exchange(changes_, {});
  EXPECT_GE(quick.size(), 2U);
  EXPECT_EQ(quick.size() % 2, 0U);
  for (std::size_t i = 0; i < quick.size(); ++i) EXPECT_EQ(quick[i], i % 2 == 0 ? 1 : 0) << i;

  const pid_t running = start();
  ASSERT_EQ(nextChange(), 1);
  const pid_t second = startHandingOn();
  awaitLook();
  kill(running);
  for (const int instances : {2, 1}) EXPECT_EQ(nextChange(), instances);
  awaitLook();
  center_.withdraw();
  kill(second);
  kill(start());
  EXPECT_EQ(changes_.size(), 0U);
  EXPECT_FALSE(observe());
}

}  // namespace
}  // namespace corvane::Platform
