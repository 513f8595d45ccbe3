#include "Platform/NotificationCenter.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include "tests/Support/TemporaryFolder.h"

namespace corvane::Platform {
namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

/// Counts calls and lets a test wait for them.
class Counter {
 public:
  void add() {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_all();
  }
  /// Waits for `count` calls, though not for ever, and says how many there were.
  int waitFor(int count) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(20), [&] { return count_ >= count; });
    return count_;
  }

 private:
  std::mutex mutex_;  // guards the count
  std::condition_variable changed_;
  int count_ = 0;
};

int newSocket() {
  return ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

/// `call`, which is `bind` or `connect`, on what lies in `folder` under `name`.
int apply(int (*call)(int, const sockaddr*, socklen_t), int socket, const fs::path& folder,
          const std::string& name) {
  const int descriptor = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor) + "/" + name;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int result = call(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  ::close(descriptor);
  return result;
}

/// Another process's socket; a dead one once it is closed.
int boundSocket(const fs::path& folder, const std::string& name) {
  fs::create_directories(folder);
  const int socket = newSocket();
  EXPECT_EQ(apply(::bind, socket, folder, name), 0);
  return socket;
}

Names entriesOf(const fs::path& folder) {
  Names names;
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(folder, missing))
    names.insert(entry.path().filename());
  return names;
}

class NotificationCenterTest : public ::testing::Test {
 protected:
  NotificationCenterTest() { fs::create_directories(container_); }

  /// Sends `datagram` to every socket in the folder of `name`; says to how many.
  [[nodiscard]] int post(const std::string& name, const std::string& datagram) const {
    int sent = 0;
    const int socket = newSocket();
    for (const std::string& entry : entriesOf(notifications_ / name)) {
      if (apply(::connect, socket, notifications_ / name, entry) == 0 &&
          ::send(socket, datagram.data(), datagram.size(), 0) >= 0) {
        ++sent;
      }
    }
    ::close(socket);
    return sent;
  }
  [[nodiscard]] int post(const std::string& name) const { return post(name, name); }

  testing::TemporaryFolder folder_;
  const fs::path container_ = folder_.path() / std::string(200, 'c');  // too long for an address
  const fs::path notifications_ = container_ / "Notifications";
  NotificationCenter center_{container_.string()};
};

TEST_F(NotificationCenterTest, CallsOncePerPostOfAnObservedName) {
  Counter replaced;
  Counter one;
  Counter last;
  const std::string longest(200, 'n');
  ASSERT_TRUE(center_.observe("one", [&] { replaced.add(); }));
  ASSERT_TRUE(center_.observe("one", [&] { one.add(); }));
  ASSERT_TRUE(center_.observe(longest, [&] { last.add(); }));
  EXPECT_EQ(fs::status(notifications_ / "one").permissions(), fs::perms::owner_all);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(post("one"), 1);
  for (const std::string& stray : {std::string(), std::string("unknown"), std::string(5000, 'n')}) {
    EXPECT_EQ(post("one", stray), 1);
  }
  EXPECT_EQ(post(longest), 1);
  EXPECT_EQ(last.waitFor(1), 1);
  EXPECT_EQ(one.waitFor(0), 3) << "one queue, so all before the last have come";
  EXPECT_EQ(replaced.waitFor(0), 0);

  center_.stopObserving("one");
  EXPECT_EQ(post(longest, "one") + post(longest), 2);
  EXPECT_EQ(last.waitFor(2), 2);
  EXPECT_EQ(one.waitFor(0), 3);
}

TEST_F(NotificationCenterTest, StopWaitsForTheRunningCallback) {
  Counter entered;
  Counter gate;
  std::atomic<bool> ended = false;
  ASSERT_TRUE(center_.observe("one", [&] {
    entered.add();
    gate.waitFor(1);
    ended = true;
  }));
  EXPECT_EQ(post("one"), 1);
  ASSERT_EQ(entered.waitFor(1), 1);
  std::thread opener([&] { gate.add(); });
  center_.stopObserving("one");
  EXPECT_TRUE(ended);
  opener.join();
}

TEST_F(NotificationCenterTest, RemovesWhatDeadProcessesLeftAndNothingElse) {
  const pid_t gone = ::fork();
  if (gone == 0) ::_exit(0);
  ::waitpid(gone, nullptr, 0);
  const std::string ofGone = "." + std::to_string(gone);
  const std::string ofLiving = "." + std::to_string(::getpid()) + ".1111111111111111";
  const std::string young = ofGone + ".2222222222222222";  // perhaps just being bound
  const int living = boundSocket(notifications_ / "lived", "1.aaaaaaaaaaaaaaaa");
  for (const char* name : {"lived", "dead", "one"}) {
    ::close(boundSocket(notifications_ / name, "2.bbbbbbbbbbbbbbbb"));
  }
  testing::writeFile(notifications_ / "kept/plain", "");
  fs::create_directories(notifications_ / "empty");
  const timespec longAgo[2] = {};
  for (const std::string& name : {ofGone + ".3333333333333333", ofLiving, young}) {
    ::close(boundSocket(notifications_, name));
    if (name == young) continue;
    ASSERT_EQ(::utimensat(AT_FDCWD, (notifications_ / name).c_str(), longAgo, 0), 0);
  }
  ASSERT_TRUE(center_.observe("one", [] {}));

  const Names own = entriesOf(notifications_ / "one");
  ASSERT_EQ(own.size(), 1U);
  EXPECT_EQ(entriesOf(notifications_),
            (Names{"." + *own.begin(), "kept", "lived", "one", ofLiving, young}));
  EXPECT_EQ(entriesOf(notifications_ / "lived"), Names{"1.aaaaaaaaaaaaaaaa"});
  EXPECT_EQ(entriesOf(notifications_ / "kept"), Names{"plain"});
  ::close(living);
}

TEST_F(NotificationCenterTest, LinksWhileOthersRemoveEmptyFolders) {
  for (int i = 0; i < 100; ++i) {
    NotificationCenter center(container_.string());
    std::atomic<bool> done = false;
    std::thread remover([&] {
      for (int removals = 0; removals < 5 && !done;) {
        if (::rmdir((notifications_ / "one").c_str()) == 0) ++removals;
      }
    });
    EXPECT_TRUE(center.observe("one", [] {}));
    done = true;
    remover.join();
    EXPECT_EQ(post("one"), 1);
  }
}

TEST_F(NotificationCenterTest, LeavesNothingAfterWithdrawing) {
  for (const char* name : {"one", "two"}) ASSERT_TRUE(center_.observe(name, [] {}));
  fs::create_hard_link(notifications_ / "one" / *entriesOf(notifications_ / "one").begin(),
                       container_ / "handle");
  const int other = boundSocket(notifications_ / "two", "1.aaaaaaaaaaaaaaaa");
  center_.withdraw();
  EXPECT_EQ(entriesOf(notifications_), Names{"two"});
  EXPECT_EQ(entriesOf(notifications_ / "two"), Names{"1.aaaaaaaaaaaaaaaa"});
  EXPECT_NE(apply(::connect, other, container_, "handle"), 0) << "still open";
  EXPECT_FALSE(center_.observe("one", [] {}));
  ::close(other);
}

TEST_F(NotificationCenterTest, RefusesWhatIsNoNameAndAMissingContainer) {
  for (const std::string& name :
       {std::string(), std::string("a/b"), std::string(".a"), std::string(201, 'n')}) {
    EXPECT_FALSE(center_.observe(name, [] {})) << name;
  }
  EXPECT_FALSE(NotificationCenter(container_ / "missing").observe("one", [] {}));
  EXPECT_FALSE(fs::exists(container_ / "missing") || fs::exists(notifications_));
}

}  // namespace
}  // namespace corvane::Platform
