#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <semaphore>
#include <vector>

#include "Platform/Linux/NotificationSocket.h"
#include "Platform/NotificationCenter.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

namespace fs = std::filesystem;

class NotificationPostTest : public ::testing::Test {
 protected:
  /// The socket of an observer that reads only when told to.
  [[nodiscard]] NotificationSocket observer(const std::string& name) const {
    fs::create_directories(one_);
    const OwnedDescriptor folder(::open(one_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return NotificationSocket::bind(folder, name).value();
  }

  testing::TemporaryFolder container_;
  const fs::path one_ = container_.path() / "Notifications" / "one";
  NotificationCenter center_{container_.path().string()};
};

TEST_F(NotificationPostTest, EachPostOfABurstIsOneCallInEachObservingProcess) {
  constexpr int posts = 1000;
  NotificationCenter other(container_.path().string());
  std::counting_semaphore<> calls(0);
  ASSERT_TRUE(center_.observe("one", [&] { calls.release(); }));
  ASSERT_TRUE(other.observe("one", [&] { calls.release(); }));
  for (int i = 0; i < posts; ++i) center_.post("one");
  for (int i = 0; i < 2 * posts; ++i)
    ASSERT_TRUE(calls.try_acquire_for(std::chrono::seconds(20))) << i;
  EXPECT_FALSE(calls.try_acquire());
}

TEST_F(NotificationPostTest, NobodyWhoStandsStillKeepsAnotherFromHearing) {
  std::vector<NotificationSocket> standing;
  for (const char* name : {"1.aaaaaaaaaaaaaaaa", "1.bbbbbbbbbbbbbbbb"})
    standing.push_back(observer(name));
  std::counting_semaphore<> calls(0);
  ASSERT_TRUE(center_.observe("one", [&] { calls.release(); }));
  for (int i = 0; i < 13; ++i) center_.post("one");  // more than a queue of the system holds
  for (int i = 0; i < 13; ++i) ASSERT_TRUE(calls.try_acquire_for(std::chrono::seconds(20))) << i;
  EXPECT_EQ(standing.front().receive(), "one") << "what fitted is there";
}

TEST_F(NotificationPostTest, RemovesTheDeadAndTheirFolderButNoFile) {
  static_cast<void>(observer("1.aaaaaaaaaaaaaaaa"));
  testing::writeFile(one_ / "plain", "");
  center_.post("one");
  EXPECT_FALSE(fs::exists(fs::symlink_status(one_ / "1.aaaaaaaaaaaaaaaa")));
  EXPECT_TRUE(fs::exists(one_ / "plain"));
  fs::remove(one_ / "plain");
  static_cast<void>(observer("1.aaaaaaaaaaaaaaaa"));
  center_.post("one");
  EXPECT_FALSE(fs::exists(one_));
  center_.post("one");
  center_.post("../Notifications");
  EXPECT_TRUE(fs::is_empty(one_.parent_path())) << "to post makes nothing";
}

}  // namespace
}  // namespace corvane::Platform
