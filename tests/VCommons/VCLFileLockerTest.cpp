#include "VCommons/VCLFileLocker.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

class VCLFileLockerTest : public ::testing::Test {
 protected:
  testing::TemporaryFolder folder_;
  const std::string path_ = folder_.path() / "buffer.data";
};

TEST_F(VCLFileLockerTest, MakesTheFileOnceNeededAndLeavesItAsItIs) {
  {
    VCLFileLocker locker(path_);
    EXPECT_TRUE(locker.unlock()) << "nothing was held";
    EXPECT_FALSE(fs::exists(path_));
    EXPECT_TRUE(locker.lock());
    EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0600));
  }
  EXPECT_EQ(fs::file_size(path_), 0U) << "it stays, and nothing is written to it";
  VCLFileLocker nowhere(folder_.path() / "missing" / "file");
  EXPECT_FALSE(nowhere.lock());
  EXPECT_FALSE(nowhere.waitLock());
  fs::create_directory(folder_.path() / "missing");
  EXPECT_TRUE(nowhere.lock()) << "each attempt opens anew until one succeeds";
}

TEST_F(VCLFileLockerTest, TwoInOneProcessExcludeEachOther) {
  VCLFileLocker first(path_);
  EXPECT_TRUE(first.lock());
  EXPECT_TRUE(first.waitLock()) << "held already";
  {
    VCLFileLocker second(path_);
    EXPECT_FALSE(second.lock());
    EXPECT_TRUE(first.unlock()) << "no count is kept";
    EXPECT_TRUE(second.lock());
    EXPECT_FALSE(first.lock());
  }
  EXPECT_TRUE(first.lock()) << "a lock goes with its object";
}

/// The other process locks, says so, and is killed: the one that waits gets the lock by its death.
TEST_F(VCLFileLockerTest, TheDeathOfItsHolderFreesTheLockForWhoWaits) {
  std::array<int, 2> ready{};
  ASSERT_EQ(::pipe(ready.data()), 0);
  const pid_t holder = ::fork();
  if (holder == 0) {
    VCLFileLocker theirs(path_);
    const char answer = theirs.waitLock() ? 'y' : 'n';
    if (::write(ready[1], &answer, 1) == 1) ::pause();
    ::_exit(1);
  }
  char answer = 0;
  ASSERT_EQ(::read(ready[0], &answer, 1), 1);
  ASSERT_EQ(answer, 'y');
  VCLFileLocker ours(path_);
  EXPECT_FALSE(ours.lock());
  ASSERT_EQ(::kill(holder, SIGKILL), 0);
  EXPECT_TRUE(ours.waitLock());
  EXPECT_EQ(::waitpid(holder, nullptr, 0), holder);
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST_F(VCLFileLockerTest, StaysLockedWhenTheSystemRefusesToUnlock) {
  struct Refusing : Platform::SystemCalls {
    int flock(int descriptor, int operation) override {
      if (!refuses) return SystemCalls::flock(descriptor, operation);
      errno = ENOLCK;
      return -1;
    }
    bool refuses = false;
  } calls;
  VCLFileLocker locker(path_, calls);
  ASSERT_TRUE(locker.lock());
  calls.refuses = true;
  EXPECT_FALSE(locker.unlock());
  EXPECT_TRUE(locker.lock()) << "still held";
  EXPECT_FALSE(VCLFileLocker(path_, calls).waitLock());
}

}  // namespace
}  // namespace corvane
