#include "VCommons/VCommonsKit/VCLog.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>
#include <vector>

#include "VCommons/Logging/DDLog.h"
#include "VCommons/Logging/DDOSLogger.h"

namespace corvane {
namespace {

/// Keeps what reaches it, and on which thread.
class Collector : public DDLogger {
 public:
  void log(const DDLogMessage& message) override {
    records.push_back(message);
    threads.push_back(std::this_thread::get_id());
  }
  std::vector<DDLogMessage> records;
  std::vector<std::thread::id> threads;
};

/// One collector at the dispatcher of the process, which never gives a sink back.
Collector& collector() {
  static const auto& attached = *new auto([] {
    auto made = std::make_shared<Collector>();
    DDLog::shared().addLogger(made);
    return made;
  }());
  return *attached;
}

class Receiver : public VCLog {};

class VCLogTest : public testing::Test {
 protected:
  void SetUp() override {
    DDLog::shared().flushLog();
    collector().records.clear();
    collector().threads.clear();
    ddLogLevel = static_cast<std::uint64_t>(DDLogLevel::verbose);
  }
  void TearDown() override {
    DDLog::shared().flushLog();
    resetDefaultDebugLevel();
  }

  static std::vector<std::string> written() {
    DDLog::shared().flushLog();
    std::vector<std::string> texts;
    for (const auto& record : collector().records) texts.push_back(record.message);
    return texts;
  }

  static constexpr LogPoint point{"corvane-nm/main.x", "listen()"};
};

TEST_F(VCLogTest, WritesTheTextsOfAllForms) {
  const Receiver receiver;
  char address[32];
  std::snprintf(address, sizeof address, "[0x%016zx]", reinterpret_cast<std::size_t>(&receiver));
  const std::string named = std::string("main") + address;
  VCLogCVerbose(point, "Read %@ bytes", 12);
  VCLogCDebug({"Makefile", "prepare%d()"}, "then %@", 1, true);
  VCLogCVerboseTrace(point);
  VCLogCDebugTrace(point);
  VCLogCErrorTrace(point);
  receiver.VCLogDebug(point, "Read %@ bytes", 12);
  receiver.VCLogVerboseTrace(point);
  receiver.VCLogDebugTrace(point);
  receiver.VCLogErrorTrace(point);
  receiver.VCLogInfo(point, "%@ %@", 1, "two");
  receiver.VCLogWarn(point, "%@");
  VCLogLibrary(DDLogFlag::info, point, reinterpret_cast<const void*>(0x7f00),
               "Exception occured: %@", "x");
  EXPECT_EQ(written(),
            (std::vector<std::string>{
                "(main: listen()) Read 12 bytes", "(Makefile: prepare1()) then true",
                "Trace - main: listen()", "Debug trace - main: listen()",
                "Error trace - main: listen()", "(" + named + " listen()) Read 12 bytes",
                "Trace - " + named + ": listen()", "Debug trace - " + named + ": listen()",
                "Error trace - " + named + ": listen()", "(main: listen()) (1, two) (null)",
                "(main: listen()) ()", "(main[0x7f00] listen()) Exception occured: x"}));
}

TEST_F(VCLogTest, RecordsSayWhereAndWhen) {
  const auto before = std::chrono::system_clock::now();
  VCLogCError(LogPoint("corvane-nm/main.x", "listen()"), "text");
  const unsigned line = __LINE__ - 1;
  ASSERT_EQ(collector().records.size(), 1U);
  const DDLogMessage& record = collector().records[0];
  EXPECT_EQ(record.level, 31U);
  EXPECT_EQ(record.flag, DDLogFlag::error);
  EXPECT_EQ(record.file, "corvane-nm/main.x");
  EXPECT_EQ(record.function, "listen()");
  EXPECT_EQ(record.line, line);
  EXPECT_EQ(record.options, 3U);
  EXPECT_GE(record.timestamp, before);
}

TEST_F(VCLogTest, SuppressedMessagesEvaluateNothing) {
  int asked = 0;
  const auto text = [&asked] { return ++asked > 0 ? "asked" : ""; };
  ddLogLevel = static_cast<std::uint64_t>(DDLogLevel::info);
  VCLogCDebug(point, "%@", text);
  VCLogCDebugTrace(point);
  EXPECT_EQ(asked, 0);
  VCLogCInfo(point, "%@", text);
  VCLogCWarn(point, "%@", text);
  VCLogCError(point, "%@", text);
  EXPECT_EQ(asked, 3);
  defaultDebugLevel = static_cast<std::uint64_t>(DDLogLevel::off);
  VCLogCError(point, "%@", text);
  VCLogLibrary(DDLogFlag::error, point, nullptr, "library %@", text);
  EXPECT_EQ(asked, 4);
  EXPECT_EQ(written().size(), 4U);
}

TEST_F(VCLogTest, ErrorsAreWrittenOnReturnAfterAllBefore) {
  for (int i = 0; i < 2500; ++i) VCLogCInfo(point, "%d", i);
  VCLogCError(point, "last");
  ASSERT_EQ(collector().records.size(), 2501U);
  for (int i = 0; i < 2500; ++i) {
    EXPECT_EQ(collector().records[static_cast<std::size_t>(i)].message,
              "(main: listen()) " + std::to_string(i));
  }
  EXPECT_EQ(collector().threads.back(), std::this_thread::get_id());
}

TEST_F(VCLogTest, ErrorsFromTheLoggingQueueItselfAreQueued) {
  DDLog::shared().loggingQueue().async([] {
    VCLogCError(point, "inside");
    DDLog::shared().flushLog();
  });
  DDLog::shared().flushLog();
  EXPECT_EQ(written(), std::vector<std::string>{"(main: listen()) inside"});
}

TEST(DDOSLogger, GivesEachKindItsSeverity) {
  static std::string passed;
  DDOSLogger logger([](Platform::SystemLog::Severity severity, std::string_view text) {
    passed += std::to_string(static_cast<int>(severity)) + ":" + std::string(text) + " ";
  });
  for (const unsigned flag : {1U, 2U, 4U, 8U, 16U}) {
    DDLogMessage message;
    message.message = std::to_string(flag);
    message.flag = DDLogFlag(flag);
    logger.log(message);
  }
  EXPECT_EQ(passed, "0:1 1:2 2:4 3:8 3:16 ");
}

}  // namespace
}  // namespace corvane
