#include "VCommons/Logging/DDFileLogger.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <set>
#include <utility>

#include "Platform/FileAttributes.h"
#include "Platform/SystemCalls.h"
#include "VCommons/VCommonsKit/VCLLogger.h"
#include "VCommons/VCommonsKit/VCLog.h"
#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;
using std::chrono::hours;
using std::chrono::milliseconds;

/// A disk that fills up, and on which others act at a chosen moment.
class FullDisk : public Platform::SystemCalls {
 public:
  ssize_t write(int descriptor, const void* bytes, std::size_t count) override {
    return room == 0 ? full() : SystemCalls::write(descriptor, bytes, std::min(count, room));
  }
  int openat(int folder, const char* path, int flags, mode_t mode) override {
    const bool may = (flags & O_DIRECTORY) != 0 ? mayList : mayOpen;
    return may ? SystemCalls::openat(folder, path, flags, mode) : full();
  }
  int flock(int descriptor, int operation) override {
    if (beforeLock) std::exchange(beforeLock, nullptr)();
    return SystemCalls::flock(descriptor, operation);
  }
  std::function<void()> beforeLock;
  std::size_t room = SIZE_MAX;
  bool mayOpen = true;
  bool mayList = true;

 private:
  static int full() {
    errno = ENOSPC;
    return -1;
  }
};

class DDFileLoggerTest : public ::testing::Test {
 protected:
  std::unique_ptr<DDFileLogger> host() {
    return std::make_unique<DDFileLogger>(DDLogFileManager(path_, "app", 7), limits_,
                                          [this] { return now_; });
  }
  void log(DDFileLogger& logger, const std::string& text) const {
    DDLogMessage message;
    message.message = text;
    message.timestamp = now_;
    logger.log(message);
  }
  [[nodiscard]] std::string fileOf(const std::string& time) const {
    return path_ + "/app " + time + ".log";
  }
  /// The times in the names of all files, the newest last.
  [[nodiscard]] std::set<std::string> files() const {
    std::set<std::string> times;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(path_, missing))
      times.insert(entry.path().stem().string().substr(4));
    return times;
  }
  [[nodiscard]] std::string newest() const { return *files().rbegin(); }
  /// The texts in one file, without their times.
  [[nodiscard]] std::string contents(const std::string& time) const {
    std::ifstream file(fileOf(time));
    std::string texts;
    for (std::string line; std::getline(file, line);) texts += line.erase(0, 25) + ";";
    return texts;
  }

  const testing::TemporaryFolder folder_;
  const std::string path_ = folder_.path().string() + "/corvane-nm";
  FullDisk disk_;
  const Platform::SystemCalls::Replacement replacement_{disk_};
  std::chrono::system_clock::time_point now_{milliseconds(1709647629123)};
  const DDFileLogger::Limits limits_ = {hours(24), 512000, 7};
  const std::string first_ = "2024-03-05--14-07-09-123";
  const std::string second_ = "2024-03-05--14-07-09-124";
};

// NOLINTBEGIN(concurrency-mt-unsafe): no other thread runs
TEST_F(DDFileLoggerTest, MakesFolderAndFileWithTheFirstLine) {
  const auto logger = host();
  EXPECT_TRUE(fs::is_empty(folder_.path()));
  ::setenv("TZ", "XXX-1", 1);
  ::tzset();
  log(*logger, "one");
  log(*logger, "two\n");
  ::unsetenv("TZ");
  ::tzset();
  EXPECT_EQ(testing::contentOf(fileOf(first_)),
            "2024/03/05 15:07:09:123  one\n2024/03/05 15:07:09:123  two\n");
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0700));
  EXPECT_EQ(fs::status(fileOf(first_)).permissions(), fs::perms(0600));
}
// NOLINTEND(concurrency-mt-unsafe)

TEST_F(DDFileLoggerTest, AStartContinuesTheNewestFileThatIsFit) {
  const struct {
    const char* newest;
    std::size_t size;
    bool isArchived;
    bool continues;
  } table[] = {{"2024-03-05--14-07-00-000", 511000, false, true},
               {"2024-03-05--14-07-00-000", 512000, false, false},
               {"2024-03-05--14-07-00-000", 0, true, false},
               {"2024-03-04--14-07-09-124", 0, false, true},
               {"2024-03-04--14-07-09-123", 0, false, false},
               {"9999-12-31--23-59-59-998", 0, false, true},
               {"9999-12-31--23-59-59-998", 512000, false, false}};
  for (const auto& row : table) {
    fs::remove_all(path_);
    for (const char* const other : {"app 2024-03-01--00-00-00-000.log", "app 2025.log", "other"})
      testing::writeFile(path_ + "/" + other, "x");
    testing::writeFile(fileOf(row.newest), std::string(row.size, 'x'));
    using Platform::FileAttributes::mark;
    if (row.isArchived && !mark(fileOf(row.newest), "lumberjack.log.archived")) continue;
    log(*host(), "line");
    EXPECT_EQ(files().size(), row.continues ? 4U : 5U) << row.newest << " " << row.size;
  }
}

TEST_F(DDFileLoggerTest, RollsAtTheSizeAndTheAgeAndKeepsSevenFiles) {
  const auto logger = host();
  log(*logger, std::string(512000 - 26, 'x'));
  log(*logger, "a");
  EXPECT_EQ(contents(second_), "a;");
  now_ += hours(24) + milliseconds(1);
  log(*logger, "b");
  EXPECT_EQ(contents("2024-03-06--14-07-09-124"), "b;");
  for (int i = 0; i < 8; ++i) logger->rollLogFile();
  EXPECT_EQ(files().size(), 7U);
  EXPECT_EQ(newest(), "2024-03-06--14-07-09-132");
}

TEST_F(DDFileLoggerTest, ALineThatIsWrittenInPartStandsAlone) {
  const auto logger = host();
  log(*logger, "one");
  disk_.room = 27;
  log(*logger, "torn");
  disk_.room = 0;
  log(*logger, "lost");
  disk_.room = SIZE_MAX;
  log(*logger, "two");
  EXPECT_EQ(contents(first_), "one;to;two;");
  disk_.mayOpen = false;
  logger->rollLogFile();
  log(*logger, "three");
  EXPECT_EQ(contents(first_), "one;to;two;three;");
  fs::remove_all(path_);
  log(*logger, "lost");
  disk_.mayOpen = true;
  log(*logger, "four");
  EXPECT_EQ(contents(first_), "four;");
}

TEST_F(DDFileLoggerTest, AFolderThatCannotBeListedIsNotEmpty) {
  const auto logger = host();
  log(*logger, "one");
  disk_.mayList = false;
  now_ += hours(24);
  log(*logger, "two");
  log(*host(), "lost");
  disk_.mayList = true;
  EXPECT_EQ(contents(first_), "one;two;");
  EXPECT_EQ(files().size(), 1U);
  log(*logger, "three");
  EXPECT_EQ(files().size(), 2U);
}

TEST_F(DDFileLoggerTest, OneHostAtATimeRollsAndTheOthersFollow) {
  const auto one = host();
  const auto two = host();
  log(*one, "a");
  log(*two, "b");
  now_ += milliseconds(2001);
  disk_.beforeLock = [&] { two->rollLogFile(); };
  one->rollLogFile();
  EXPECT_EQ(files().size(), 2U) << "who comes too late to roll takes what the other made";
  log(*one, "c");
  EXPECT_EQ(contents(newest()), "c;");
  {
    auto held = Platform::File::open(fileOf(newest()), Platform::File::Access::append);
    ASSERT_TRUE(held && held->tryLock());
    two->rollLogFile();
    EXPECT_EQ(files().size(), 2U);
  }
  now_ += milliseconds(1900);
  one->rollLogFile();
  EXPECT_EQ(files().size(), 2U) << "the file that the other has just begun counts as its own roll";
  two->rollLogFile();
  EXPECT_EQ(files().size(), 3U) << "one's own does not";
  host()->rollLogFile();
  EXPECT_EQ(files().size(), 3U) << "a start beside it neither";
  for (int i = 0; i < 50; ++i) {  // faster than the folder's time of change advances
    two->rollLogFile();
    log(*one, "d");
    EXPECT_EQ(contents(newest()), "d;");
  }
}

TEST_F(DDFileLoggerTest, FollowsNeitherALinkToAFileNorOneToAFolder) {
  const fs::path target = folder_.path() / "target";
  testing::writeFile(target / "app 2024-01-01--00-00-00-000.log", "theirs");
  fs::create_directories(path_);
  fs::create_symlink(*fs::directory_iterator(target), fileOf("2999-12-31--23-59-59-000"));
  const auto logger = host();
  const auto late = host();
  log(*logger, "x");
  EXPECT_EQ(newest(), "2999-12-31--23-59-59-001") << "behind what is planted";
  EXPECT_EQ(contents(newest()), "x;");
  fs::remove_all(path_);
  fs::create_directory_symlink(target, path_);
  for (auto* other : {logger.get(), late.get()}) log(*other, "y");
  EXPECT_EQ(testing::contentOf(target / "app 2024-01-01--00-00-00-000.log"), "theirs");
  EXPECT_EQ(std::distance(fs::directory_iterator(target), {}), 1);
}

TEST_F(DDFileLoggerTest, FileAndFolderMayGoAtAnyTime) {
  const auto logger = host();
  log(*logger, "a");
  fs::remove(fileOf(first_));
  log(*logger, "b");
  EXPECT_EQ(contents(first_), "b;");
  fs::remove_all(path_);
  log(*host(), "c");  // makes a file of the same name
  log(*logger, "d");
  EXPECT_EQ(contents(first_), "c;d;");
  fs::remove(fileOf(first_));
  testing::writeFile(fileOf("2024-03-01--00-00-00-000"), "x");  // too old to go on with
  log(*logger, "e");
  EXPECT_EQ(contents(first_), "e;");
}

TEST_F(DDFileLoggerTest, VCLLoggerChangesTheLevelAfterTheRoll) {
  DDLog dispatcher([this] { return now_; });
  VCLLogger logger({dispatcher, "app", nullptr, limits_, [this] { return now_; }});
  logger.initLogger(path_);
  std::string events;
  const auto note = [&](const char* what) {
    events += what + std::to_string(logger.logLevel()) + "/" + std::to_string(files().size()) + " ";
  };
  logger.addObserver("logLevel", {[&] { note("will "); }, [&] { note("did "); }});
  for (const std::uint32_t level : {15U, 31U}) logger.modifyLogLevel(level);
  EXPECT_TRUE(logger.flushWithin(milliseconds(10000)));
  EXPECT_EQ(events, "will 7/1 did 15/1 will 15/2 did 7/2 ");
  EXPECT_EQ(ddLogLevel, 31U);
}

}  // namespace
}  // namespace corvane
