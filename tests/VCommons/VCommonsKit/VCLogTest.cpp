#include "VCommons/VCommonsKit/VCLog.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

#include "VCommons/Logging/DDLog.h"
#include "tests/Support/LogCollector.h"

namespace corvane {
namespace {

using testing::logRecords;

class Receiver : public VCLog {};

constexpr LogPoint point{"corvane-nm/main.x", "listen()"};

class VCLogTest : public ::testing::Test {
 protected:
  void SetUp() override {
    testing::takeLogTexts();
    ddLogLevel = static_cast<std::uint64_t>(DDLogLevel::verbose);
  }
  void TearDown() override { resetDefaultDebugLevel(); }
};

TEST_F(VCLogTest, WritesAllForms) {
  const Receiver receiver;
  char address[32];
  std::snprintf(address, sizeof address, "[0x%016zx]", reinterpret_cast<std::size_t>(&receiver));
  const std::string named = std::string("main") + address;
  VCLogCVerbose(point, "Read %@ bytes", 12);
  VCLogCDebug({"Makefile", "prepare%d()"}, "then %@", 1, true);
  VCLogCVerboseTrace(point);
  receiver.VCLogDebug(point, "Read %@ bytes", 12);
  receiver.VCLogVerboseTrace(point);
  receiver.VCLogErrorTrace(point);
  receiver.VCLogInfo(point, "%@ %@", 1, "two");
  receiver.VCLogWarn(point, "%@");
  VCLogLibrary(DDLogFlag::info, point, reinterpret_cast<const void*>(0x7f00),
               "Exception occured: %@", "x");
  EXPECT_EQ(testing::takeLogTexts(),
            (std::vector<std::string>{
                "16 (main: listen()) Read 12 bytes", "8 (Makefile: prepare1()) then true",
                "16 Trace - main: listen()", "8 (" + named + " listen()) Read 12 bytes",
                "16 Trace - " + named + ": listen()", "1 Error trace - " + named + ": listen()",
                "4 (main: listen()) (1, two) (null)", "2 (main: listen()) ()",
                "4 (main[0x7f00] listen()) Exception occured: x"}));
}

/// Counts when a list of arguments takes it, before anything is formatted.
struct Counting {
  operator std::string_view() const { return ++*count > 0 ? "asked" : ""; }  // NOLINT
  int* count;
};

TEST_F(VCLogTest, SuppressedMessagesEvaluateNothing) {
  int asked = 0;
  const Counting text{&asked};
  ddLogLevel = static_cast<std::uint64_t>(DDLogLevel::info);
  VCLogCDebug(point, "%@", text);
  VCLogCDebugTrace(point);
  VCLogCInfo(point, "%@", text);
  defaultDebugLevel = static_cast<std::uint64_t>(DDLogLevel::off);
  VCLogCError(point, "%@", text);
  Receiver().VCLogInfo(point, "%@", text);
  Receiver().VCLogWarn(point, "%@", text);
  VCLogLibrary(DDLogFlag::error, point, nullptr, "library %@", text);
  EXPECT_EQ(asked, 2);
  EXPECT_EQ(logRecords().size(), 2U);
}

TEST_F(VCLogTest, ErrorsAreWrittenOnReturnAfterAllBefore) {
  for (int i = 0; i < 2500; ++i) VCLogCInfo(point, "%d", i);
  VCLogCError(point, "last");
  ASSERT_EQ(logRecords().size(), 2501U) << "more than may wait";
  EXPECT_EQ(logRecords()[2499].message, "(main: listen()) 2499");
  DDLog::shared().loggingQueue().async([] {
    VCLogCError(point, "inside");  // queued, or it would wait for itself
    DDLog::shared().flushLog();
  });
  DDLog::shared().flushLog();
  DDLog::shared().flushLog();
  EXPECT_EQ(logRecords().size(), 2502U);
}

}  // namespace
}  // namespace corvane
