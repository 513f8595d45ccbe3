#include "Platform/RunningApplications.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "Platform/Linux/OwnedDescriptor.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

class RunningApplicationsTest : public ::testing::Test {
 protected:
  RunningApplicationsTest() { std::filesystem::create_directories(registry_); }

  /// Makes the file `path` and holds its lock, as an application does, to the end of the test.
  void lock(const std::filesystem::path& path) {
    locks_.emplace_back(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    struct flock exclusive = {};
    exclusive.l_type = F_WRLCK;
    EXPECT_EQ(::fcntl(locks_.back().number(), F_OFD_SETLK, &exclusive), 0) << path;
  }
  /// A process that holds the lock of its own file until it is killed; this one holds it too.
  pid_t startApplication() {
    lock(registry_ / ".new");
    const pid_t process = ::fork();
    if (process == 0) {
      for (;;) ::pause();
    }
    std::filesystem::rename(registry_ / ".new", registry_ / (std::to_string(process) + digits_));
    return process;
  }
  [[nodiscard]] int count(const std::string& identifier = "com.example.app") const {
    return RunningApplications(container_.path().string()).instancesOf(identifier);
  }

  const std::string digits_ = ".0123456789abcDEF";
  testing::TemporaryFolder container_;
  const std::filesystem::path registry_ = container_.path() / "Applications/com.example.app";
  std::vector<OwnedDescriptor> locks_;
};

TEST_F(RunningApplicationsTest, RunsWhileItIsAliveAndItsLockIsHeld) {
  const pid_t first = startApplication();
  locks_.pop_back();
  EXPECT_EQ(count(), 1);
  const pid_t second = startApplication();
  EXPECT_EQ(count(), 2);
  const RunningApplications all(container_.path().string());
  EXPECT_EQ(all.applicationOf(second).value().bundleIdentifier, "com.example.app");
  EXPECT_FALSE(all.applicationOf(::getpid()));
  EXPECT_EQ(count("com.example.other") + count("../Applications/com.example.app"), 0);
  for (const pid_t process : {first, second}) {
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
  }
  EXPECT_EQ(count(), 0) << "a file left over; and a lock that the dead process had handed on";
}

TEST_F(RunningApplicationsTest, OnlyLockedFilesOfTheAgreedNameCount) {
  const std::string own = std::to_string(::getpid());
  for (const std::string& name :
       {"." + own + digits_, own + digits_ + "0", own + ".0123456789abcdeg", "x" + own + digits_,
        "-1" + digits_, own}) {
    lock(registry_ / name);
  }
  lock(container_.path() / "elsewhere");
  std::filesystem::create_symlink(container_.path() / "elsewhere",
                                  registry_ / (own + ".1111111111111111"));
  std::filesystem::create_directory(registry_ / (own + ".2222222222222222"));
  ASSERT_EQ(::mkfifo((registry_ / (own + ".3333333333333333")).c_str(), 0600), 0);
  testing::writeFile(registry_ / (own + ".4444444444444444"), "not locked");
  EXPECT_EQ(count(), 0);
  lock(registry_ / (own + digits_));
  EXPECT_EQ(count(), 1);
}

}  // namespace
}  // namespace corvane::Platform
