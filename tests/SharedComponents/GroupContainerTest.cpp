#include "SharedComponents/GroupContainer.h"

#include <gtest/gtest.h>

#include "tests/Support/TemporaryFolder.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

TEST(GroupContainer, MakesFoldersOnceAndAFailureStands) {
  const testing::TemporaryFolder folder;
  testing::writeFile(folder.path() / "Data", "in the way");
  GroupContainer container(folder.path().string(), "TEAM.group", "com.example.app");
  const fs::path logs = folder.path() / "Logs/com.example.app";
  EXPECT_EQ(container.logsUrl(), logs.string());
  EXPECT_EQ(container.dataUrl(), std::nullopt);
  EXPECT_TRUE(fs::remove(logs) && fs::remove(folder.path() / "Data"));
  EXPECT_EQ(container.dataUrl(), std::nullopt);
  EXPECT_TRUE(container.logsUrl());
  EXPECT_FALSE(fs::exists(logs)) << "the disk is not asked again";
}

}  // namespace
}  // namespace corvane
