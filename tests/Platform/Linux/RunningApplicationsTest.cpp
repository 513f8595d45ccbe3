#include "Platform/RunningApplications.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <deque>
#include <mutex>
#include <semaphore>
#include <set>
#include <utility>
#include <vector>

#include "Platform/ApplicationRegistration.h"
#include "Platform/Linux/DescriptorPath.h"
#include "Platform/Posix/OwnedDescriptor.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

namespace fs = std::filesystem;

/// The numbers that were told, in order; a test waits for the next one, though not for ever.
class Changes {
 public:
  void add(int instances) {
    const std::lock_guard lock(mutex_);
    told_.push_back(instances);
    came_.notify_one();
  }
  int next() {
    std::unique_lock lock(mutex_);
    if (!came_.wait_for(lock, std::chrono::seconds(20), [this] { return !told_.empty(); }))
      return -1;
    const int first = told_.front();
    told_.pop_front();
    return first;
  }
  std::deque<int> takeAll() {
    const std::lock_guard lock(mutex_);
    return std::exchange(told_, {});
  }

 private:
  std::mutex mutex_;  // guards what was told
  std::deque<int> told_;
  std::condition_variable came_;
};

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
  /// An application in full, which nobody else keeps running.
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
  std::optional<int> observe() {
    return applications_.observe(app_, [&](int instances) { changes_.add(instances); });
  }
  /// Returns when all that happened so far has been told: what an instance says makes the observer
  /// look, and what is said later is heard later.
  void awaitLook() {
    std::binary_semaphore heard(0);
    ASSERT_TRUE(center_.observe("heard", [&] { heard.release(); }));
    for (const std::string& name : {app_ + ".LAUNCHED", std::string("heard")})
      applicationsCenter_.post(name);
    EXPECT_TRUE(heard.try_acquire_for(std::chrono::seconds(20)));
    center_.stopObserving("heard");
  }
  [[nodiscard]] int count(const std::string& identifier) const {
    const int instances = applications_.instancesOf(identifier);
    EXPECT_EQ(applications_.isRunning(identifier), instances > 0) << identifier;
    return instances;
  }
  [[nodiscard]] std::set<std::string> registered() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(registry_))
      names.insert(entry.path().filename());
    return names;
  }

  const std::string digits_ = ".0123456789abcDEF";
  const std::string app_ = "com.example.app";
  const std::string own_ = std::to_string(::getpid());
  testing::TemporaryFolder folder_;
  const std::string container_ = folder_.path();
  const fs::path registry_ = folder_.path() / "Applications" / app_;
  Changes changes_;
  NotificationCenter center_{container_};
  NotificationCenter applicationsCenter_{container_};
  RunningApplications applications_{container_, center_};
  std::vector<OwnedDescriptor> locks_;
  std::set<pid_t> processes_;
};

TEST_F(RunningApplicationsTest, RunsWhileItIsAliveAndItsLockIsHeld) {
  const pid_t first = start();
  const pid_t second = startHandingOn();
  EXPECT_EQ(count(app_), 2);
  kill(first);
  EXPECT_EQ(count(app_), 1) << "the other one goes on";
  EXPECT_EQ(applications_.applicationOf(second).value().bundleIdentifier, app_);
  EXPECT_FALSE(applications_.applicationOf(::getpid()));
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
    EXPECT_TRUE(applications_.isRunning(app_));
  }
  EXPECT_EQ(count(app_), many);
  fs::remove_all(registry_);
  EXPECT_EQ(count(app_), 0) << "the locks are still held";
}

TEST_F(RunningApplicationsTest, EachEndAndEachStartIsToldAndNothingElse) {
  ASSERT_EQ(observe(), 0);
  for (int i = 0; i < 50; ++i) kill(start());
  awaitLook();
  const std::deque<int> quick = changes_.takeAll();  // perhaps nobody looked in time
  EXPECT_EQ(quick.size() % 2, 0U);
  for (std::size_t i = 0; i < quick.size(); ++i) EXPECT_EQ(quick[i], i % 2 == 0 ? 1 : 0) << i;

  pid_t running = start();
  ASSERT_EQ(changes_.next(), 1);
  for (int i = 0; i < 50; ++i) {
    kill(running);
    running = start();
    for (const int instances : {0, 1}) ASSERT_EQ(changes_.next(), instances) << i;
  }
  const pid_t second = startHandingOn();
  awaitLook();
  kill(running);
  for (const int instances : {2, 1}) EXPECT_EQ(changes_.next(), instances);
  awaitLook();
  center_.withdraw();
  kill(second);
  kill(start());
  EXPECT_EQ(changes_.takeAll().size(), 0U);
  EXPECT_FALSE(observe());
}

TEST_F(RunningApplicationsTest, ARegistrationThatIsGivenBackHasEndedBeforeTheNextOne) {
  ASSERT_EQ(observe(), 0);
  for (const int instances : {1, 0}) {
    const auto given = ApplicationRegistration::make(container_, app_, applicationsCenter_);
    EXPECT_EQ(changes_.next(), instances);
    awaitLook();
    EXPECT_EQ(count(app_), 1);
  }
  EXPECT_EQ(changes_.takeAll(), std::deque<int>{1});
  EXPECT_EQ(count(app_), 0);
}

TEST_F(RunningApplicationsTest, RegistersWithALockedFileAndRemovesWhatDeadInstancesLeft) {
  const std::string living = std::to_string(start());
  const pid_t dead = start();
  kill(dead);
  const std::string fifo = std::to_string(dead) + ".1111111111111111";
  ASSERT_EQ(::mkfifo((registry_ / fifo).c_str(), 0600), 0);
  const std::string beingMade = "." + living + ".1111111111111111";
  const std::set<std::string> kept = {living + digits_, beingMade, "notes", fifo};
  for (const std::string& name : {beingMade, std::string("notes"), own_ + ".2222222222222222",
                                  "." + std::to_string(dead) + ".3333333333333333"}) {
    testing::writeFile(registry_ / name, "");
  }
  {
    const auto registration = ApplicationRegistration::make(container_, app_, applicationsCenter_);
    ASSERT_TRUE(registration);
    EXPECT_EQ(count(app_), 2);
    EXPECT_EQ(registered().size(), kept.size() + 1);
  }
  EXPECT_EQ(registered(), kept);
}

TEST_F(RunningApplicationsTest, NoChildProlongsTheRegistrationOfItsParent) {
  OwnedDescriptor file;
  {
    const auto registration = ApplicationRegistration::make(container_, app_, applicationsCenter_);
    ASSERT_EQ(count(app_), 1);
    std::error_code gone;  // the descriptor by which the loop reads
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      if (!fs::read_symlink(entry, gone).string().starts_with(registry_.string())) continue;
      const int descriptor = std::stoi(entry.path().filename());
      EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << "a program would hold it on";
    }
    file =
        OwnedDescriptor(::open((registry_ / *registered().begin()).c_str(), O_RDONLY | O_CLOEXEC));
    startHandingOn();  // a copy of this process
  }
  EXPECT_EQ(count(app_), 1) << "the copy";
  lock(pathOf(file));  // given back, with all copies
}

TEST_F(RunningApplicationsTest, RefusesWhatIsNoIdentifierAndAMissingContainer) {
  for (const std::string& identifier :
       {std::string(), std::string("a/b"), std::string(".a"), std::string(192, 'i')}) {
    EXPECT_FALSE(ApplicationRegistration::make(container_, identifier, applicationsCenter_));
    EXPECT_FALSE(applications_.observe(identifier, [](int) {})) << identifier;
  }
  EXPECT_FALSE(ApplicationRegistration::make(container_ + "/missing", app_, applicationsCenter_));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 1) << "the registry";
}

}  // namespace
}  // namespace corvane::Platform
