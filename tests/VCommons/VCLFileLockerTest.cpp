#include "VCommons/VCLFileLocker.h"

#include <gtest/gtest.h>
#include <unistd.h>

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
  fs::create_symlink(path_, nowhere.path());
  EXPECT_FALSE(nowhere.lock()) << "a link";
  fs::remove(nowhere.path());
  EXPECT_TRUE(nowhere.lock()) << "each attempt opens anew until one succeeds";
}

TEST_F(VCLFileLockerTest, TwoInOneProcessExcludeEachOther) {
  VCLFileLocker first(path_);
  EXPECT_TRUE(first.lock());
  EXPECT_TRUE(first.waitLock()) << "held already";
  int copy = -1;
  {
    VCLFileLocker second(path_);
    EXPECT_FALSE(second.lock());
    EXPECT_TRUE(first.unlock()) << "no count is kept";
    EXPECT_TRUE(second.lock());
    EXPECT_FALSE(first.lock());
    copy = ::dup(second.lockedFile().descriptor());  // as a forked process has
  }
  EXPECT_TRUE(first.lock()) << "a lock goes with its object";
  ::close(copy);
}

}  // namespace
}  // namespace corvane
