#include "Platform/RunningApplications.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <deque>
#include <mutex>
#include <semaphore>
#include <set>
#include <vector>

#include "Platform/ApplicationRegistration.h"
#include "Platform/Linux/OwnedDescriptor.h"
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
    came_.release();
  }
  int next() {
    if (!came_.try_acquire_for(std::chrono::seconds(20))) return -1;
    const std::lock_guard lock(mutex_);
    const int first = told_.front();
    told_.pop_front();
    return first;
  }
  std::deque<int> rest() {
    const std::lock_guard lock(mutex_);
    return told_;
  }

 private:
  std::mutex mutex_;  // guards what was told
  std::deque<int> told_;
  std::counting_semaphore<> came_{0};
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
  EXPECT_EQ(count(app_), 1);
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
  fs::create_directory(registry_ / (own_ + ".2222222222222222"));
  ASSERT_EQ(::mkfifo((registry_ / (own_ + ".3333333333333333")).c_str(), 0600), 0);
  testing::writeFile(registry_ / (own_ + ".4444444444444444"), "not locked");
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

TEST_F(RunningApplicationsTest, EachEndAndEachStartIsTold) {
  pid_t running = start();
  ASSERT_EQ(observe(), 1);
  for (int i = 0; i < 50; ++i) {
    kill(running);
    running = start();
    ASSERT_EQ(changes_.next(), 0) << i;
    ASSERT_EQ(changes_.next(), 1) << i;
  }
  const pid_t second = startHandingOn();
  awaitLook();
  kill(running);
  for (const int instances : {2, 1}) EXPECT_EQ(changes_.next(), instances);
  awaitLook();
  EXPECT_EQ(changes_.rest().size(), 0U);
  center_.withdraw();
  kill(second);
  kill(start());
  EXPECT_EQ(changes_.rest().size(), 0U);
  EXPECT_FALSE(observe());
}

TEST_F(RunningApplicationsTest, EndsAsOftenAsItStartsHoweverQuickly) {
  ASSERT_EQ(observe(), 0);
  for (int i = 0; i < 50; ++i) kill(start());
  awaitLook();
  const std::deque<int> told = changes_.rest();
  EXPECT_EQ(told.size() % 2, 0U);
  for (std::size_t i = 0; i < told.size(); ++i) EXPECT_EQ(told[i], i % 2 == 0 ? 1 : 0) << i;
}

TEST_F(RunningApplicationsTest, ARegistrationThatIsGivenBackHasEndedBeforeTheNextOne) {
  ASSERT_EQ(observe(), 0);
  {
    const auto first = ApplicationRegistration::make(container_, app_, applicationsCenter_);
    EXPECT_EQ(changes_.next(), 1);
    EXPECT_EQ(count(app_), 1);
    awaitLook();
    EXPECT_EQ(changes_.rest().size(), 0U) << "another look tells nothing";
  }
  EXPECT_EQ(count(app_), 0);
  const auto second = ApplicationRegistration::make(container_, app_, applicationsCenter_);
  EXPECT_EQ(changes_.next(), 0);
  EXPECT_EQ(changes_.next(), 1);
}

TEST_F(RunningApplicationsTest, RegistersWithALockedFileAndRemovesWhatDeadInstancesLeft) {
  const pid_t living = start();
  const pid_t gone = start();
  kill(gone);
  const std::string ofGone = std::to_string(gone);
  const std::string beingMade = "." + std::to_string(living) + ".1111111111111111";
  for (const std::string& name : {"." + ofGone + ".2222222222222222", beingMade,
                                  std::string("notes"), own_ + ".3333333333333333"}) {
    testing::writeFile(registry_ / name, "");
  }
  ASSERT_EQ(::mkfifo((registry_ / (ofGone + ".4444444444444444")).c_str(), 0600), 0);
  const std::set<std::string> kept = {std::to_string(living) + digits_, beingMade, "notes",
                                      ofGone + ".4444444444444444"};
  {
    const auto registration = ApplicationRegistration::make(container_, app_, applicationsCenter_);
    ASSERT_TRUE(registration);
    EXPECT_EQ(count(app_), 2);
    EXPECT_EQ(registered().size(), kept.size() + 1);
  }
  EXPECT_EQ(registered(), kept);
}

TEST_F(RunningApplicationsTest, NoChildProlongsTheRegistrationOfItsParent) {
  const std::string fresh = "com.example.fresh";
  const fs::path handles = registry_.parent_path() / "com.example.handles";
  fs::create_directories(handles);
  {
    const auto registration = ApplicationRegistration::make(container_, fresh, applicationsCenter_);
    ASSERT_TRUE(registration);
    EXPECT_EQ(fs::status(registry_.parent_path() / fresh).permissions(), fs::perms::owner_all);
    for (const auto& entry : fs::directory_iterator(registry_.parent_path() / fresh))
      fs::create_hard_link(entry, handles / entry.path().filename());
    EXPECT_EQ(count(fresh) + count(handles.filename()), 2);
    startHandingOn();  // a copy of this process
  }
  EXPECT_EQ(count(fresh) + count(handles.filename()), 0) << "given back, with all copies";

  const pid_t crashing = ::fork();
  if (crashing == 0) {
    ::setpgid(0, 0);
    const auto registration = ApplicationRegistration::make(container_, fresh, applicationsCenter_);
    const std::array<const char*, 3> command = {"sleep", "1000", nullptr};
    pid_t child = 0;
    const int error = ::posix_spawnp(&child, command[0], nullptr, nullptr,
                                     const_cast<char* const*>(command.data()), environ);
    ::_exit(registration && error == 0 ? 0 : 1);
  }
  int status = 0;
  ::waitpid(crashing, &status, 0);
  EXPECT_EQ(status, 0);
  for (const auto& entry : fs::directory_iterator(registry_.parent_path() / fresh)) lock(entry);
  EXPECT_EQ(locks_.size(), 2U) << "of the copy, and of the crashed one although its child lives";
  EXPECT_EQ(::kill(-crashing, SIGKILL), 0);
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
