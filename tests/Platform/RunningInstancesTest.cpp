#include "Platform/Posix/RunningInstances.h"

#include <gtest/gtest.h>

#include <vector>

namespace corvane::Platform {
namespace {

TEST(RunningInstances, TellTheNumberAfterEachEndAndThenAfterEachStart) {
  RunningInstances instances;
  const auto toldOf = [&](const ProcessSet& found) {
    std::vector<int> told;
    instances.update(found, [&](int count) { told.push_back(count); });
    return told;
  };
  EXPECT_EQ(toldOf({2, 3}), (std::vector{1, 2}));
  EXPECT_EQ(toldOf({2, 3}), std::vector<int>());
  EXPECT_EQ(toldOf({1, 3, 4}), (std::vector{1, 2, 3}));
  EXPECT_EQ(toldOf({5}), (std::vector{2, 1, 0, 1}));
  EXPECT_EQ(toldOf({}), std::vector{0});
  EXPECT_EQ(instances.count(), 0);
}

}  // namespace
}  // namespace corvane::Platform
