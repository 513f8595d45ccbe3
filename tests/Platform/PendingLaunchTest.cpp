#include "Platform/Posix/PendingLaunch.h"

#include <gtest/gtest.h>

#include <vector>

#include "Base/TimeLimits.h"
#include "Platform/SystemCalls.h"
#include "tests/Support/Turning.h"

namespace corvane::Platform {
namespace {

TEST(PendingLaunchTest, AnswersOnceWithTheOutcomeOrWithNoAfterTheLimit) {
  struct : SystemCalls {
    std::chrono::steady_clock::time_point steadyNow() override { return now; }
    std::chrono::steady_clock::time_point now = SystemCalls::steadyNow();
  } calls;
  const SystemCalls::Replacement replacement(calls);
  EventLoop loop;
  std::vector<std::string> answers;
  const auto begin = [&](const std::string& name) {
    return PendingLaunch::begin(loop, [&answers, name](bool isStarted) {
      answers.push_back(name + (isStarted ? " yes" : " no"));
    });
  };
  begin("late");
  begin("soon")->finishSoon(true);
  begin("now")->finish(true);
  EXPECT_EQ(answers, std::vector<std::string>{"now yes"});
  calls.now += TimeLimits::appState - std::chrono::milliseconds(1);
  testing::turnThrough(loop);
  EXPECT_EQ(answers, (std::vector<std::string>{"now yes", "soon yes"}));
  calls.now += std::chrono::milliseconds(1);
  testing::turnThrough(loop);
  EXPECT_EQ(answers, (std::vector<std::string>{"now yes", "soon yes", "late no"}));
}

}  // namespace
}  // namespace corvane::Platform
