#include <fcntl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <semaphore>
#include <thread>
#include <vector>

#include "Platform/Linux/NotificationSocket.h"
#include "Platform/NotificationCenter.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

namespace fs = std::filesystem;

class NotificationPostTest : public ::testing::Test {
 protected:
  NotificationPostTest() { fs::create_directories(container_); }

  /// The socket of an observer that reads only when told to.
  [[nodiscard]] NotificationSocket observer(const std::string& name) const {
    fs::create_directories(one_);
    const OwnedDescriptor folder(::open(one_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return NotificationSocket::bind(folder, name).value();
  }

  testing::TemporaryFolder folder_;
  const fs::path container_ = folder_.path() / std::string(200, 'c');  // too long for an address
  const fs::path one_ = container_ / "Notifications" / "one";
  NotificationCenter center_{container_.string()};
};

TEST_F(NotificationPostTest, EachPostOfABurstIsOneCallInEachObservingProcess) {
  constexpr int posts = 1000;
  NotificationCenter other(container_.string());
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
  for (int i = 10; i < 42; ++i)
    standing.push_back(observer("1.11111111111111" + std::to_string(i)));
  std::counting_semaphore<> calls(0);
  ASSERT_TRUE(center_.observe("one", [&] { calls.release(); }));
  constexpr int posts = 13;  // more than a queue of the system holds
  std::thread poster([&] {
    for (int i = 0; i < posts; ++i) center_.post("one");
  });
  // Were they waited for one after another, then for 6.4 s at least.
  for (int i = 0; i < posts; ++i) EXPECT_TRUE(calls.try_acquire_for(std::chrono::seconds(2))) << i;
  poster.join();
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
