#include "Platform/NotificationCenter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>

#include "Platform/Container/NotificationSocket.h"
#include "Platform/Directories.h"
#include "tests/Support/TemporaryFolder.h"
#include "tests/Support/Turning.h"

namespace corvane::Platform {
namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;
using namespace std::string_literals;
using testing::turnUntil;

/// Another process's socket; a dead one as soon as the result is gone.
NotificationSocket boundSocket(const fs::path& folder, const std::string& name) {
  fs::create_directories(folder);
  return NotificationSocket::bind(*Directories::open(folder), name).value();
}

Names entriesOf(const fs::path& folder) {
  const auto opened = Directories::open(folder);
  if (!opened) return {};
  const auto names = Directories::entries(*opened);
  return {names->begin(), names->end()};
}

class NotificationCenterTest : public ::testing::Test {
 protected:
  NotificationCenterTest() { fs::create_directories(container_); }

  /// Sends `datagram` to every socket in the folder of `name`; says to how many.
  [[nodiscard]] int post(const std::string& name, const std::string& datagram) const {
    int sent = 0;
    for (const std::string& entry : entriesOf(notifications_ / name)) {
      const auto observer =
          NotificationSocket::connectedTo(*Directories::open(notifications_ / name), entry);
      if (!observer) continue;
      sent += ::send(observer->number(), datagram.data(), datagram.size(), 0) >= 0 ? 1 : 0;
    }
    return sent;
  }

  testing::TemporaryFolder folder_;
  const fs::path container_ = folder_.path() / std::string(200, 'c');  // too long for an address
  const fs::path notifications_ = container_ / "Notifications";
  const fs::path one_ = notifications_ / "one";
  EventLoop loop_;
  NotificationCenter center_{loop_, container_.string()};
};

TEST_F(NotificationCenterTest, CallsOncePerPostOfAnObservedName) {
  int one = 0;
  int last = 0;
  const std::string longest(200, 'n');
  ASSERT_TRUE(center_.observe("one", [&] { ++one; }));
  ASSERT_TRUE(center_.observe(longest, [&] { ++last; }));
  EXPECT_EQ(fs::status(one_).permissions(), fs::perms::owner_all);
  for (const std::string& datagram :
       {"one"s, ""s, "unknown"s, std::string(5000, 'n'), "one"s, "one"s}) {
    EXPECT_EQ(post("one", datagram), 1);
  }
  EXPECT_EQ(post(longest, longest), 1);
  ASSERT_TRUE(turnUntil(loop_, [&] { return last == 1; }));
  EXPECT_EQ(one, 3) << "one queue, so all before the last have come";
}

TEST_F(NotificationCenterTest, RemovesWhatDeadProcessesLeftAndNothingElse) {
  const pid_t gone = ::fork();
  if (gone == 0) ::_exit(0);
  ::waitpid(gone, nullptr, 0);
  const std::string ofGone = "." + std::to_string(gone);
  const std::string ofLiving = "." + std::to_string(::getpid()) + ".1111111111111111";
  const std::string young = ofGone + ".2222222222222222";  // perhaps just being bound
  const auto living = boundSocket(notifications_ / "lived", "1.aaaaaaaaaaaaaaaa");
  for (const char* name : {"lived", "dead", "one"}) {
    boundSocket(notifications_ / name, "2.bbbbbbbbbbbbbbbb");
  }
  testing::writeFile(notifications_ / "kept/plain", "");
  fs::create_directories(notifications_ / "empty");
  fs::create_directories(notifications_ / "forgotten");
  const timespec longAgo[2] = {};
  ASSERT_EQ(::utimensat(AT_FDCWD, (notifications_ / "forgotten").c_str(), longAgo, 0), 0);
  for (const std::string& name : {ofGone + ".3333333333333333", ofLiving, young}) {
    boundSocket(notifications_, name);
    if (name == young) continue;
    ASSERT_EQ(::utimensat(AT_FDCWD, (notifications_ / name).c_str(), longAgo, 0), 0);
  }
  ASSERT_TRUE(center_.observe("one", [] {}));

  ASSERT_TRUE(turnUntil(loop_, [&] { return entriesOf(one_).size() == 1; }));
  const Names left = {
      "." + *entriesOf(one_).begin(), "empty", "kept", "lived", "one", ofLiving, young};
  EXPECT_TRUE(turnUntil(loop_, [&] { return entriesOf(notifications_) == left; }));
  for (int step = 0; step < 100; ++step) testing::turnThrough(loop_);
  EXPECT_EQ(entriesOf(notifications_), left);
  EXPECT_EQ(entriesOf(notifications_ / "lived"), Names{"1.aaaaaaaaaaaaaaaa"});
  EXPECT_EQ(entriesOf(notifications_ / "kept"), Names{"plain"});
}

TEST_F(NotificationCenterTest, FollowsNoSymbolicLink) {
  const fs::path outside = folder_.path() / "outside";
  auto stranger = boundSocket(outside, "socket");
  fs::create_directories(notifications_ / "two");
  fs::create_symlink(outside / "socket", notifications_ / "two/1.aaaaaaaaaaaaaaaa");
  fs::create_directory_symlink(outside, one_);
  center_.post("two");
  center_.post("one");
  EXPECT_EQ(stranger.receive().value(), "");
  int calls = 0;
  EXPECT_TRUE(center_.observe("good", [&] { ++calls; }));
  EXPECT_FALSE(center_.observe("one", [] {}));
  bool isOver = false;  // it has been tried again, which disturbs nothing
  const auto timer = loop_.at(EventLoop::now() + 3 * EventLoop::retryPause, [&] { isOver = true; });
  EXPECT_TRUE(testing::turnUntil(loop_, [&] { return isOver; }));
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(entriesOf(notifications_).size(), 4U) << "one, two, good, and one hidden socket";
  EXPECT_EQ(entriesOf(outside), Names{"socket"});
}

TEST_F(NotificationCenterTest, LinksWhileOthersRemoveEmptyFolders) {
  for (int i = 0; i < 100; ++i) {
    NotificationCenter center(loop_, container_.string());
    std::atomic<bool> done = false;
    std::thread remover([&] {
      for (int removals = 0; removals < 5 && !done;) {
        if (::rmdir(one_.c_str()) == 0) ++removals;
      }
    });
    EXPECT_TRUE(center.observe("one", [] {}));
    done = true;
    remover.join();
    EXPECT_EQ(post("one", "one"), 1);
  }
}

TEST_F(NotificationCenterTest, NobodyWhoStandsStillKeepsAnotherFromHearing) {
  auto standing = boundSocket(one_, "1.1111111111111111");
  auto slow = boundSocket(one_, "1.2222222222222222");
  const auto taken = [](NotificationSocket& socket) {
    int count = 0;
    while (socket.receive().value() == "one") ++count;
    return count;
  };
  constexpr int posts = 30;  // more than a queue of the system holds
  for (int i = 0; i < posts; ++i) center_.post("one");
  int takenLater = 0;
  ASSERT_TRUE(turnUntil(loop_, [&] { return (takenLater += taken(slow)) == posts; }));
  bool isMissed = false;
  const auto limit =
      loop_.at(EventLoop::now() + std::chrono::milliseconds(150), [&] { isMissed = true; });
  ASSERT_TRUE(turnUntil(loop_, [&] { return isMissed; }));
  const int takenTooLate = taken(standing);
  testing::turnThrough(loop_);
  EXPECT_GT(takenTooLate, 0);
  EXPECT_LT(takenTooLate + taken(standing), posts);
  center_.post("one");
  EXPECT_EQ(taken(standing), 1) << "the next one reaches it again";
}

TEST_F(NotificationCenterTest, PostingRemovesTheDeadAndTheirFolderButNoFile) {
  boundSocket(one_, "1.aaaaaaaaaaaaaaaa");
  testing::writeFile(one_ / "plain", "");
  center_.post("one");
  EXPECT_EQ(entriesOf(one_), Names{"plain"});
  fs::remove(one_ / "plain");
  boundSocket(one_, "1.aaaaaaaaaaaaaaaa");
  center_.post("one");
  EXPECT_FALSE(fs::exists(one_));
  center_.post("one");
  center_.post("../Notifications");
  EXPECT_TRUE(fs::is_empty(one_.parent_path())) << "to post makes nothing";
}

}  // namespace
}  // namespace corvane::Platform
